#include "platform/GstMonitor.h"

#include "platform/GstDeviceFacts.h"
#include "platform/GstRuntime.h"
#include "platform/Threads.h"

#include <gst/gst.h>

#include <algorithm>
#include <set>
#include <utility>

namespace ovelo {

/// Who wants to know; called by threads of the library.
struct GstMonitor::Listener {
    std::mutex lock; // held while it is called
    std::function<void()> changed;

    void tell() {
        const std::lock_guard guard(lock);
        if (changed) {
            changed();
        }
    }
};

namespace {

using namespace std::chrono_literals;

// A sound server that dies or comes back is not noticed by the library's monitor; a new one sees
// it, and costs a few milliseconds.
constexpr auto kRenewalInterval = 30s;

void stopAndRelease(GstDeviceMonitor* monitor) {
    gst_device_monitor_stop(monitor);
    gst_object_unref(monitor);
}

bool isAboutDevices(GstMessage* message) {
    switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_DEVICE_ADDED:
    case GST_MESSAGE_DEVICE_REMOVED:
    case GST_MESSAGE_DEVICE_CHANGED:
        return true;
    default:
        return false;
    }
}

std::vector<GstMonitor::Found> devicesOf(GstDeviceMonitor* monitor) {
    std::vector<GstMonitor::Found> devices;
    std::set<std::string> keys;
    GList* list = gst_device_monitor_get_devices(monitor);
    for (GList* item = list; item; item = item->next) {
        auto found = factsOf(std::shared_ptr<GstDevice>(GST_DEVICE(item->data), GstRelease{}));
        if (keys.insert(found.key).second) {
            devices.push_back(std::move(found));
        }
    }
    g_list_free(list); // its references have gone into `devices`
    std::stable_partition(devices.begin(), devices.end(),
                          [](const auto& device) { return !device.isLoopback; });
    return devices;
}

std::set<std::string> keysOf(const std::vector<GstMonitor::Found>& devices) {
    std::set<std::string> keys;
    for (const auto& device : devices) {
        keys.insert(device.key);
    }
    return keys;
}

} // namespace

GstMonitor::GstMonitor() : listener_(std::make_shared<Listener>()) {
    GstRuntime::begin();
    monitor_ = startedMonitor();
    renewal_ = std::jthread([this](const std::stop_token& stop) { renewFromTimeToTime(stop); });
}

GstMonitor::~GstMonitor() {
    renewal_.request_stop();
    renewal_.join();
    watch(nullptr);
}

std::vector<GstMonitor::Found> GstMonitor::devices() const {
    const std::lock_guard guard(lock_);
    return devicesOf(monitor_.get());
}

void GstMonitor::watch(std::function<void()> changed) {
    const std::lock_guard guard(listener_->lock);
    listener_->changed = std::move(changed);
}

std::shared_ptr<GstDeviceMonitor> GstMonitor::startedMonitor() const {
    std::shared_ptr<GstDeviceMonitor> monitor(gst_device_monitor_new(), stopAndRelease);
    gst_device_monitor_add_filter(monitor.get(), "Video/Source", nullptr);
    gst_device_monitor_add_filter(monitor.get(), "Audio/Source", nullptr);
    const GstPointer<GstBus> bus(gst_device_monitor_get_bus(monitor.get()));
    const auto take = [](GstBus*, GstMessage* message, gpointer data) {
        if (isAboutDevices(message)) {
            (*static_cast<std::shared_ptr<Listener>*>(data))->tell();
        }
        gst_message_unref(message);
        return GST_BUS_DROP;
    };
    const auto drop = [](gpointer data) { delete static_cast<std::shared_ptr<Listener>*>(data); };
    gst_bus_set_sync_handler(bus.get(), take, new std::shared_ptr<Listener>(listener_), drop);
    gst_device_monitor_start(monitor.get());
    return monitor;
}

void GstMonitor::renewFromTimeToTime(const std::stop_token& stop) {
    settleThread("device watch");
    std::mutex lock;
    std::unique_lock guard(lock);
    while (!stop.stop_requested()) {
        stopped_.wait_for(guard, stop, kRenewalInterval, [] { return false; });
        if (!stop.stop_requested()) {
            renew();
        }
    }
}

void GstMonitor::renew() {
    auto fresh = startedMonitor();
    bool isDifferent = false;
    {
        const std::lock_guard guard(lock_);
        isDifferent = keysOf(devicesOf(fresh.get())) != keysOf(devicesOf(monitor_.get()));
        monitor_.swap(fresh);
    }
    fresh.reset(); // the former one stops here
    if (isDifferent) {
        listener_->tell();
    }
}

} // namespace ovelo
