#pragma once

#include <memory>

// GStreamer's own declarations, so that our headers need not include its.
typedef struct _GstBus GstBus;
typedef struct _GstDevice GstDevice;
typedef struct _GstDeviceMonitor GstDeviceMonitor;
typedef struct _GstElement GstElement;
typedef struct _GstSample GstSample;

namespace ovelo {

/// Gives a reference back to GStreamer.
struct GstRelease {
    void operator()(GstBus* object) const noexcept;
    void operator()(GstDevice* object) const noexcept;
    void operator()(GstDeviceMonitor* object) const noexcept;
    void operator()(GstElement* object) const noexcept;
    void operator()(GstSample* object) const noexcept;
};

/// Owns one reference to an object of GStreamer.
template <typename T>
using GstPointer = std::unique_ptr<T, GstRelease>;

} // namespace ovelo
