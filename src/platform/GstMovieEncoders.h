#pragma once

#include "platform/GstEncoder.h"
#include "platform/MovieTrack.h"

namespace ovelo {

/// Makes the encoders of movies from what is installed.
///
/// errors  no encoder works: says which Debian packages bring one
/// thread  any
namespace movieencoders {

/// Takes 320 x 240 RGBA; gives H.264 as a byte stream.
[[nodiscard]] Result<std::unique_ptr<GstEncoder>> pictures(PictureCodec codec);

/// An encoder of sound, and how late its packets are.
struct Sound {
    std::unique_ptr<GstEncoder> encoder;
    std::size_t delay = 0;    // samples that a decoder gives before the first one that went in
    bool givesAtOnce = false; // each packet comes out before the next block goes in
};

/// Takes blocks of kAacPacketSamples.
[[nodiscard]] Result<Sound> sound();

} // namespace movieencoders

} // namespace ovelo
