#pragma once

#include "platform/Data.h"
#include "platform/Result.h"
#include "platform/VideoFrame.h"

namespace ovelo {

class Settings;

/// What viewers get of a picture, live or recorded. Any thread.
namespace viewerpicture {

inline constexpr int kWidth = 320;
inline constexpr int kHeight = 240;

/// The JPEG of a finished picture, at a compression factor of 0.4.
Result<Data> encode(const VideoFrame& picture);

/// The JPEG of a picture that is only stretched, turned and mirrored, as the settings say.
Result<Data> plain(const VideoFrame& picture, const Settings& settings);

} // namespace viewerpicture

} // namespace ovelo
