#include "platform/GstMovieEncoders.h"

#include "platform/GstRuntime.h"

#include <gst/gst.h>

#include <string>

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
constexpr const char* kVoAac =
    "voaacenc bitrate=24000 ! audio/mpeg,mpegversion=4,stream-format=raw";
constexpr const char* kLibavAac = "audioconvert ! avenc_aac bitrate=24000"
                                  " ! audio/mpeg,mpegversion=4,stream-format=raw";

constexpr std::size_t kVoAacDelay = 1600;
constexpr std::size_t kLibavAacDelay = 1024;

bool isInstalled(const char* element) {
    GstElementFactory* factory = gst_element_factory_find(element);
    if (factory != nullptr) {
        gst_object_unref(factory);
    }
    return factory != nullptr;
}

Failure missing(const char* what, const char* package) {
    return Failure{std::string("There is no encoder for ") + what + ": install the package " +
                   package + "."};
}

} // namespace

Result<std::unique_ptr<GstEncoder>> pictures(PictureCodec codec) {
    GstRuntime::begin();
    if (codec == PictureCodec::Mpeg4) {
        if (!isInstalled("avenc_mpeg4")) {
            return missing("MPEG-4 pictures", "gstreamer1.0-libav");
        }
        return GstEncoder::make(kPictureCaps, kMpeg4);
    }
    if (isInstalled("openh264enc")) {
        return GstEncoder::make(kPictureCaps, kOpenH264);
    }
    if (isInstalled("x264enc")) {
        return GstEncoder::make(kPictureCaps, kX264);
    }
    return missing("H.264 pictures", "gstreamer1.0-plugins-bad");
}

Result<Sound> sound() {
    GstRuntime::begin();
    const bool isVo = isInstalled("voaacenc");
    if (!isVo && !isInstalled("avenc_aac")) {
        return missing("AAC sound", "gstreamer1.0-plugins-bad");
    }
    auto encoder = GstEncoder::make(kSoundCaps, isVo ? kVoAac : kLibavAac);
    if (!encoder) {
        return Failure{encoder.error()};
    }
    return Sound{std::move(encoder).value(), isVo ? kVoAacDelay : kLibavAacDelay, isVo};
}

} // namespace ovelo::movieencoders
