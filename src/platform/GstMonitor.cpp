#include "platform/GstMonitor.h"

#include "platform/GstDeviceFacts.h"
#include "platform/GstRuntime.h"
#include "platform/GstSoundServer.h"
#include "platform/Threads.h"

#include <gst/gst.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <set>
#include <utility>

namespace ovelo {

namespace {

using Monitor = std::shared_ptr<GstDeviceMonitor>;

/// Who wants to know; called by threads of the library.
struct Listener {
    std::mutex lock; // held while it is called
    std::function<void()> changed;

    void tell() {
        const std::lock_guard guard(lock);
        if (changed) {
            changed();
        }
    }
};

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

Monitor startedMonitor(const char* classes, const std::shared_ptr<Listener>& listener) {
    Monitor monitor(gst_device_monitor_new(), stopAndRelease);
    gst_device_monitor_add_filter(monitor.get(), classes, nullptr);
    const GstPointer<GstBus> bus(gst_device_monitor_get_bus(monitor.get()));
    const auto take = [](GstBus*, GstMessage* message, gpointer data) {
        if (isAboutDevices(message)) {
            (*static_cast<std::shared_ptr<Listener>*>(data))->tell();
        }
        gst_message_unref(message);
        return GST_BUS_DROP;
    };
    const auto drop = [](gpointer data) { delete static_cast<std::shared_ptr<Listener>*>(data); };
    gst_bus_set_sync_handler(bus.get(), take, new std::shared_ptr<Listener>(listener), drop);
    gst_device_monitor_start(monitor.get());
    return monitor;
}

void addDevices(GstDeviceMonitor* monitor, std::set<std::string>& keys,
                std::vector<GstMonitor::Found>& devices) {
    GList* list = monitor ? gst_device_monitor_get_devices(monitor) : nullptr;
    for (GList* item = list; item; item = item->next) {
        auto found = factsOf(std::shared_ptr<GstDevice>(GST_DEVICE(item->data), GstRelease{}));
        if (keys.insert(found.key).second) {
            devices.push_back(std::move(found));
        }
    }
    g_list_free(list); // its references have gone into `devices`
}

std::set<std::string> keysOf(const std::vector<GstMonitor::Found>& devices) {
    std::set<std::string> keys;
    for (const auto& device : devices) {
        keys.insert(device.key);
    }
    return keys;
}

} // namespace

/// What the thread looks up. Its locks are leaves.
class GstMonitor::Search {
public:
    void run(const std::stop_token& stop, std::chrono::milliseconds glance);
    [[nodiscard]] std::vector<Found> devices() const;
    void watch(std::function<void()> changed);

    bool waitUntilReady(std::chrono::milliseconds limit) { return waitFor(isReady_, limit); }
    bool waitUntilEnded(std::chrono::milliseconds limit) { return waitFor(hasEnded_, limit); }

private:
    [[nodiscard]] std::vector<Found> listed() const;
    void renew();
    void watchSoundServer(const std::stop_token& stop, std::chrono::milliseconds glance,
                          std::string state);
    void set(bool& flag);
    bool waitFor(const bool& flag, std::chrono::milliseconds limit);

    const std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
    const std::vector<std::string> soundServers_ = soundServerSockets();

    mutable std::mutex lock_; // guards the monitors; held while they are started
    Monitor cameras_;
    Monitor microphones_;

    mutable std::mutex knownLock_; // guards known_
    mutable std::vector<Found> known_;

    std::mutex stateLock_; // guards the flags
    std::condition_variable_any stateChanged_;
    bool isReady_ = false;
    bool hasEnded_ = false;
};

void GstMonitor::Search::run(const std::stop_token& stop, std::chrono::milliseconds glance) {
    settleThread("device watch");
    const std::string state = soundServerState(soundServers_); // before anything is looked up
    GstRuntime::begin();
    {
        const std::lock_guard guard(lock_);
        cameras_ = startedMonitor("Video/Source", listener_);
        {
            const std::lock_guard known(knownLock_);
            known_ = listed();
        }
        microphones_ = startedMonitor("Audio/Source", listener_);
    }
    set(isReady_);
    listener_->tell(); // somebody may have gone on without
    watchSoundServer(stop, glance, state);
    set(hasEnded_);
}

std::vector<GstMonitor::Found> GstMonitor::Search::listed() const {
    std::vector<Found> devices;
    std::set<std::string> keys;
    addDevices(cameras_.get(), keys, devices);
    addDevices(microphones_.get(), keys, devices);
    std::stable_partition(devices.begin(), devices.end(),
                          [](const auto& device) { return !device.isLoopback; });
    return devices;
}

std::vector<GstMonitor::Found> GstMonitor::Search::devices() const {
    const std::unique_lock guard(lock_, std::try_to_lock);
    const std::lock_guard known(knownLock_);
    if (guard.owns_lock()) {
        known_ = listed();
    }
    return known_;
}

void GstMonitor::Search::watch(std::function<void()> changed) {
    const std::lock_guard guard(listener_->lock);
    listener_->changed = std::move(changed);
}

void GstMonitor::Search::watchSoundServer(const std::stop_token& stop,
                                          std::chrono::milliseconds glance, std::string state) {
    constexpr int kRenewals = 2; // the first one may meet a server that is not ready yet
    int renewals = 0;
    while (!stop.stop_requested()) {
        {
            std::unique_lock guard(stateLock_);
            stateChanged_.wait_for(guard, stop, glance, [] { return false; });
        }
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

void GstMonitor::Search::renew() {
    const auto before = devices();
    {
        const std::lock_guard guard(lock_);
        // The library has one watcher of each kind, and a second monitor would share it: the former
        // ones have to stop first.
        cameras_.reset();
        microphones_.reset();
        cameras_ = startedMonitor("Video/Source", listener_);
        microphones_ = startedMonitor("Audio/Source", listener_);
    }
    if (keysOf(devices()) != keysOf(before)) {
        listener_->tell();
    }
}

void GstMonitor::Search::set(bool& flag) {
    {
        const std::lock_guard guard(stateLock_);
        flag = true;
    }
    stateChanged_.notify_all();
}

bool GstMonitor::Search::waitFor(const bool& flag, std::chrono::milliseconds limit) {
    std::unique_lock guard(stateLock_);
    return stateChanged_.wait_for(guard, limit, [&flag] { return flag; });
}

GstMonitor::GstMonitor() : GstMonitor(Patience{}) {
}

GstMonitor::GstMonitor(Patience patience)
    : search_(std::make_shared<Search>())
    , patience_(patience)
    , thread_([search = search_, glance = patience.glance](const std::stop_token& stop) {
        search->run(stop, glance);
    }) {
    search_->waitUntilReady(patience_.search);
}

GstMonitor::~GstMonitor() {
    watch(nullptr);
    thread_.request_stop();
    if (!search_->waitUntilEnded(patience_.end)) {
        thread_.detach(); // the library holds it, for as long as a sound server does not answer
    }
}

std::vector<GstMonitor::Found> GstMonitor::devices() const {
    return search_->devices();
}

void GstMonitor::watch(std::function<void()> changed) {
    search_->watch(std::move(changed));
}

} // namespace ovelo
