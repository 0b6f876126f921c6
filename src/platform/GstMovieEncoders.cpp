#include "platform/GstMovieEncoders.h"

#include "platform/FirstThatWorks.h"
#include "platform/GstAacEncoders.h"
#include "platform/GstRuntime.h"

#include <array>
#include <utility>

namespace ovelo::movieencoders {

namespace {

constexpr const char* kPictureCaps =
    "video/x-raw,format=RGBA,width=320,height=240,framerate=30/1,pixel-aspect-ratio=1/1";
constexpr const char* kSoundCaps =
    "audio/x-raw,format=S16LE,rate=16000,channels=1,layout=interleaved";

// Key pictures are asked for by time; the numbers here only bound them. One thread each: a picture
// takes a millisecond, and the other cores have pictures of their own.
constexpr const char* kOpenH264 =
    "videoconvert n-threads=1 ! video/x-raw,format=I420"
    " ! openh264enc multi-thread=1 complexity=low rate-control=bitrate bitrate=300000"
    " gop-size=300 scene-change-detection=false background-detection=false"
    " adaptive-quantization=false"
    " ! video/x-h264,stream-format=byte-stream,alignment=au";
constexpr const char* kX264 =
    "videoconvert n-threads=1 ! video/x-raw,format=I420"
    " ! x264enc threads=1 tune=zerolatency speed-preset=superfast bitrate=300 key-int-max=300"
    " bframes=0"
    " ! video/x-h264,profile=constrained-baseline,stream-format=byte-stream,alignment=au";
// Left alone, its rate control spends a tenth of the bits it may, on pictures that show it (measured);
// the bound on the quantizer keeps them good.
constexpr const char* kMpeg4 =
    "videoconvert n-threads=1 ! video/x-raw,format=I420"
    " ! avenc_mpeg4 bitrate=400000 qmax=6 gop-size=300 threads=1 flags=global_header";
constexpr int kSoundBitsPerSecond = 24000;

constexpr std::array kH264Encoders = {kOpenH264, kX264};
constexpr std::array kMpeg4Encoders = {kMpeg4};

} // namespace

Result<std::unique_ptr<GstEncoder>> pictures(PictureCodec codec) {
    GstRuntime::begin();
    const auto make = [](const char* chain) { return GstEncoder::make(kPictureCaps, chain); };
    if (codec == PictureCodec::Mpeg4) {
        return firstThatWorks<std::unique_ptr<GstEncoder>>(
            kMpeg4Encoders,
            "Pictures cannot be encoded in MPEG-4: install the package gstreamer1.0-libav.", make);
    }
    return firstThatWorks<std::unique_ptr<GstEncoder>>(
        kH264Encoders,
        "Pictures cannot be encoded in H.264: install the package gstreamer1.0-plugins-bad or "
        "gstreamer1.0-plugins-ugly.",
        make);
}

Result<Sound> sound() {
    GstRuntime::begin();
    return firstThatWorks<Sound>(
        aacencoders::kCandidates, aacencoders::kAdvice,
        [](const aacencoders::Candidate& candidate) -> Result<Sound> {
            auto encoder =
                GstEncoder::make(kSoundCaps, aacencoders::chain(candidate, kSoundBitsPerSecond));
            if (!encoder) {
                return Failure{encoder.error()};
            }
            return Sound{std::move(encoder).value(), candidate.delay, candidate.givesAtOnce};
        });
}

} // namespace ovelo::movieencoders
