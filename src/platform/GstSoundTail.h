#pragma once

#include "platform/GstSoundDelivery.h"
#include "platform/GstTypes.h"

#include <functional>
#include <memory>
#include <string>

namespace ovelo {

/// Names of the elements at both ends of what every sound has behind its source.
inline constexpr const char* kGstSoundHeadName = "ovelo-sound-head"; // takes raw sound of any kind
inline constexpr const char* kGstSoundName =
    "ovelo-sound"; // the appsink: 16 bits, mono, kSoundRate

/// The description of the tail. A source that can choose delivers the tail's format by itself.
[[nodiscard]] std::string gstSoundTail();

/// Connects the tail in `holder` with a delivery, for as long as the tail exists.
///
/// holder  a bin or pipeline that has the tail's elements
void connectSoundTail(GstElement* holder, const std::shared_ptr<GstSoundDelivery>& delivery);

/// Calls `take` on a streaming thread with a text about the format that the source delivers,
/// whenever it changes.
void watchSoundFormat(GstElement* holder, std::function<void(const std::string&)> take);

/// A bin with one sink pad that brings a stream's sound, which comes beside its pictures, to a
/// delivery.
///
/// isPaced  the source is a file, which is read faster than it plays
/// return   a floating reference; null when a part of GStreamer is missing
[[nodiscard]] GstElement* makeSoundBranch(const std::shared_ptr<GstSoundDelivery>& delivery,
                                          bool isPaced);

} // namespace ovelo
