#include "platform/CaptureDevices.h"

#include "platform/GstCaptureDevices.h"
#include "platform/Threads.h"

#include <cstdlib>
#include <string_view>
#include <thread>
#include <utility>

namespace ovelo {

namespace {

/// The monitor that prepare() makes and create() takes.
struct Preparation {
    std::unique_ptr<GstMonitor> monitor;
    std::jthread thread; // last: joined before the monitor ends
};

Preparation& preparation() {
    static Preparation instance;
    return instance;
}

bool isDemo() {
    const char* value = std::getenv("OVELO_DEMO");
    return value && std::string_view(value) == "1";
}

} // namespace

void CaptureDevices::prepare() {
    preparation().thread = std::jthread([] {
        settleThread("device search");
        preparation().monitor = std::make_unique<GstMonitor>();
    });
}

std::unique_ptr<CaptureDevices>
CaptureDevices::create(Settings& settings, std::function<void(const std::string&)> log) {
    Preparation& prepared = preparation();
    if (prepared.thread.joinable()) {
        prepared.thread.join();
    }
    auto monitor = std::move(prepared.monitor);
    if (!monitor) {
        monitor = std::make_unique<GstMonitor>();
    }
    return std::make_unique<GstCaptureDevices>(settings, std::move(monitor), std::move(log),
                                               isDemo());
}

} // namespace ovelo
