#pragma once

#include "platform/GstOrigin.h"
#include "platform/GstOutlets.h"
#include "platform/GstTypes.h"
#include "platform/Result.h"

namespace ovelo {

/// Names of the elements at both ends of what every video pipeline has behind its source.
inline constexpr const char* kGstHeadName = "ovelo-head";         // takes raw video of any shape
inline constexpr const char* kGstPicturesName = "ovelo-pictures"; // the appsink: 320 x 240 RGBA

/// Name of the queue behind a network source, which keeps the newest picture only.
inline constexpr const char* kGstNewestName = "ovelo-newest";

/// Puts a pipeline together that brings an origin's media to an appsink for each outlet; nothing of
/// it runs yet. Sound beside pictures is connected with its outlet; without pictures it is left to
/// the caller, as pictures are.
///
/// errors  in the library's words
[[nodiscard]] Result<std::shared_ptr<GstElement>> buildPipeline(const GstOrigin& origin,
                                                                const GstOutlets& outlets);

} // namespace ovelo
