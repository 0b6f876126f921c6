#include "platform/GstMonitor.h"

#include "platform/GstDeviceFacts.h"
#include "platform/GstRuntime.h"
#include "platform/GstSoundServer.h"
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

GstMonitor::GstMonitor(std::chrono::milliseconds glance)
    : listener_(std::make_shared<Listener>())
    , glanceInterval_(glance)
    , soundServers_(soundServerSockets()) {
    const std::string state = soundServerState(soundServers_); // before anything is looked up
    GstRuntime::begin();
    monitor_ = startedMonitor();
    glances_ =
        std::jthread([this, state](const std::stop_token& stop) { watchSoundServer(stop, state); });
}

GstMonitor::~GstMonitor() {
    glances_.request_stop();
    glances_.join();
    watch(nullptr);
}

std::vector<GstMonitor::Found> GstMonitor::devices() const {
    const std::unique_lock guard(lock_, std::try_to_lock);
    const std::lock_guard known(knownLock_);
    if (guard.owns_lock()) {
        known_ = devicesOf(monitor_.get());
    }
    return known_;
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

void GstMonitor::watchSoundServer(const std::stop_token& stop, std::string state) {
    constexpr int kRenewals = 2; // the first one may meet a server that is not ready yet
    settleThread("device watch");
    std::mutex lock;
    std::unique_lock guard(lock);
    int renewals = 0;
    while (!stop.stop_requested()) {
        stopped_.wait_for(guard, stop, glanceInterval_, [] { return false; });
        const std::string now = soundServerState(soundServers_);
        if (std::exchange(state, now) != now) {
            renewals = kRenewals;
        }
        if (!stop.stop_requested() && renewals > 0) {
            --renewals;
            renew();
        }
    }
}

void GstMonitor::renew() {
    const auto before = devices();
    {
        const std::lock_guard guard(lock_);
        // The library has one watcher of each kind, and a second monitor would share it: the former
        // one has to stop first.
        monitor_.reset();
        monitor_ = startedMonitor();
    }
    if (keysOf(devices()) != keysOf(before)) {
        listener_->tell();
    }
}

} // namespace ovelo
