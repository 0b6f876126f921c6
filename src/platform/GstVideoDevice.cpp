#include "platform/GstVideoDevice.h"

#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

// Any source but a dead network peer lets go within a few milliseconds. Hardware is waited for,
// because the next one to open it needs it free.
constexpr auto kStopPatience = 100ms;
constexpr auto kHardwareStopPatience = 1000ms;

} // namespace

std::shared_ptr<GstVideoDevice> GstVideoDevice::make(Traits traits, Services services) {
    return std::shared_ptr<GstVideoDevice>(
        new GstVideoDevice(std::move(traits), std::move(services)));
}

GstVideoDevice::GstVideoDevice(Traits traits, Services services)
    : GstCaptureDevice(std::move(traits))
    , services_(std::move(services))
    , taps_(mediaType() == MediaType::Muxed ? std::make_shared<SoundTaps>() : nullptr) {
}

GstVideoDevice::~GstVideoDevice() {
    close();
}

std::optional<Failure> GstVideoDevice::open() {
    close();
    outlets_ = newOutlets();
    auto built = GstVideoPipeline::build(traits().origin, outlets_);
    if (!built) {
        return Failure{built.error()};
    }
    auto pipeline = std::move(built).value();
    if (auto failure = pipeline->open()) {
        return failure;
    }
    pipeline_ = std::move(pipeline);
    setOpen(true);
    return std::nullopt;
}

void GstVideoDevice::close() {
    stop();
    setOpen(false);
    pipeline_.reset();
}

void GstVideoDevice::start(FrameHandler handler) {
    if (run_) {
        return;
    }
    if (!pipeline_) {
        outlets_ = newOutlets(); // the former ones may still be in use
    }
    outlets_.pictures->attach(std::move(handler));
    if (outlets_.sound) {
        outlets_.sound->attach();
    }
    beginRun();
    run_ = std::make_unique<GstVideoRun>(GstVideoRun::Environment{traits().origin, traits().name,
                                                                  services_.patience, services_.log,
                                                                  runEnded(), formatIs()},
                                         std::move(pipeline_), outlets_);
}

void GstVideoDevice::stop() {
    if (!run_) {
        return;
    }
    endRun();
    run_->stop();
    const bool isHardware = traits().origin.isHardware();
    if (run_->waitUntilEnded(isHardware ? kHardwareStopPatience : kStopPatience)) {
        pipeline_ = run_->takePipeline();
        run_.reset();
    } else {
        services_.disposal->take(std::move(run_));
    }
}

std::unique_ptr<SoundTap> GstVideoDevice::tapSound(SoundHandler handler) {
    return taps_ ? taps_->add(std::move(handler)) : nullptr;
}

GstOutlets GstVideoDevice::newOutlets() const {
    return {std::make_shared<GstFrameDelivery>(),
            taps_ ? std::make_shared<GstSoundDelivery>(taps_) : nullptr};
}

} // namespace ovelo
