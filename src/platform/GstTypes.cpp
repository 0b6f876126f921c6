#include "platform/GstTypes.h"

#include <gst/gst.h>

namespace ovelo {

void GstRelease::operator()(GstBus* object) const noexcept {
    gst_object_unref(object);
}

void GstRelease::operator()(GstDevice* object) const noexcept {
    gst_object_unref(object);
}

void GstRelease::operator()(GstDeviceMonitor* object) const noexcept {
    gst_object_unref(object);
}

void GstRelease::operator()(GstElement* object) const noexcept {
    gst_object_unref(object);
}

void GstRelease::operator()(GstSample* object) const noexcept {
    gst_sample_unref(object);
}

} // namespace ovelo
