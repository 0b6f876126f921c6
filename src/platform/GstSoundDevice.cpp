#include "platform/GstSoundDevice.h"

#include "platform/Credentials.h"

#include <gst/gst.h>

#include <chrono>
#include <filesystem>
#include <utility>

namespace ovelo {

namespace {

// A source lets go within a few milliseconds; a dead network peer may not.
constexpr std::chrono::milliseconds kStopPatience{100};

Failure failureOf(GError* error) {
    Failure failure{error ? withoutCredentials(error->message) : "The source cannot be made."};
    g_clear_error(&error);
    return failure;
}

/// Makes what `create` makes and throws it away.
template <typename Create>
std::optional<Failure> tryOut(Create create) {
    GError* error = nullptr;
    GstElement* element = create(&error);
    if (!element || error) {
        auto failure = failureOf(error);
        if (element) {
            gst_object_unref(element);
        }
        return failure;
    }
    gst_object_ref_sink(element);
    gst_object_unref(element);
    return std::nullopt;
}

std::optional<Failure> findFile(const std::string& uri) {
    GError* error = nullptr;
    char* path = g_filename_from_uri(uri.c_str(), nullptr, &error);
    if (!path) {
        return failureOf(error);
    }
    std::error_code missing;
    const bool isThere = std::filesystem::is_regular_file(path, missing);
    g_free(path);
    return isThere ? std::nullopt : std::optional(Failure{"Resource not found."});
}

std::optional<Failure> tryOut(const GstOrigin& origin) {
    auto failure = tryOut([&](GError** error) {
        if (origin.isHardware()) {
            return gst_device_create_element(origin.hardware.get(), nullptr);
        }
        if (!origin.isDescription()) {
            return gst_element_make_from_uri(GST_URI_SRC, origin.source.c_str(), nullptr, error);
        }
        // With an end, for a description may close with the format that it wants.
        return gst_parse_launch_full((origin.source + " ! fakesink").c_str(), nullptr,
                                     GST_PARSE_FLAG_FATAL_ERRORS, error);
    });
    return !failure && origin.isFile() ? findFile(origin.source) : failure;
}

} // namespace

std::shared_ptr<GstSoundDevice> GstSoundDevice::make(Traits traits, Services services) {
    return std::shared_ptr<GstSoundDevice>(
        new GstSoundDevice(std::move(traits), std::move(services)));
}

GstSoundDevice::GstSoundDevice(Traits traits, Services services)
    : GstCaptureDevice(std::move(traits))
    , services_(std::move(services)) {
    taps_->watch([this] { runWhenHeard(); });
}

GstSoundDevice::~GstSoundDevice() {
    taps_->watch(nullptr); // they may live on
    close();
}

std::optional<Failure> GstSoundDevice::open() {
    close();
    auto failure = tryOut(traits().origin);
    setOpen(!failure);
    runWhenHeard();
    return failure;
}

void GstSoundDevice::close() {
    setOpen(false);
    stopRun();
}

std::unique_ptr<SoundTap> GstSoundDevice::tapSound(SoundHandler handler) {
    return taps_->add(std::move(handler));
}

void GstSoundDevice::runWhenHeard() {
    const bool isWanted = isOpen() && taps_->isHeard();
    if (isWanted && !run_) {
        startRun();
    } else if (!isWanted) {
        stopRun();
    }
}

void GstSoundDevice::startRun() {
    const GstOutlets outlets{nullptr, std::make_shared<GstSoundDelivery>(taps_)};
    outlets.sound->attach();
    beginRun();
    run_ = std::make_unique<GstVideoRun>(GstVideoRun::Environment{traits().origin, traits().name,
                                                                  services_.patience, services_.log,
                                                                  runEnded(), formatIs(), false},
                                         nullptr, outlets);
}

void GstSoundDevice::stopRun() {
    if (!run_) {
        return;
    }
    endRun();
    run_->stop();
    if (run_->waitUntilEnded(kStopPatience)) {
        run_.reset();
    } else {
        services_.disposal->take(std::move(run_));
    }
}

} // namespace ovelo
