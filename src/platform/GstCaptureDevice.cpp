#include "platform/GstCaptureDevice.h"

#include "platform/MainThread.h"

namespace ovelo {

std::vector<std::string> GstCaptureDevice::formatSummaries() const {
    return format_.empty() ? std::vector<std::string>{} : std::vector{format_};
}

void GstCaptureDevice::endRun() {
    ++run_;
    format_.clear();
}

GstCaptureDevice::News GstCaptureDevice::runEnded() {
    return onMainThread(
        [](GstCaptureDevice& device, const std::string& reason) { device.tellEnded(reason); });
}

GstCaptureDevice::News GstCaptureDevice::formatIs() {
    return onMainThread([](GstCaptureDevice& device, const std::string& format) {
        if (format != device.format_) {
            device.format_ = format;
            device.formatChanged().emit();
        }
    });
}

GstCaptureDevice::News GstCaptureDevice::onMainThread(
    std::function<void(GstCaptureDevice&, const std::string&)> operation) {
    return [weak = weak_from_this(), run = run_,
            operation = std::move(operation)](const std::string& text) {
        MainThread::perform([weak, run, operation, text] {
            const auto device = weak.lock();
            if (device && device->run_ == run) {
                operation(*device, text);
            }
        });
    };
}

} // namespace ovelo
