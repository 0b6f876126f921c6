#include "platform/GstCaptureDevices.h"

#include "platform/Console.h"
#include "platform/DemoCamera.h"
#include "platform/GstSoundDevice.h"
#include "platform/MainThread.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace ovelo {

namespace {

constexpr const char* kSetting = "captureSources";
// A soft bell each second, every fourth one louder. Pieces of 80 ms, so that it costs little.
constexpr const char* kDemoSound =
    "audiotestsrc is-live=true wave=ticks freq=880 sine-periods-per-tick=220 apply-tick-ramp=true"
    " volume=0.25 marker-tick-period=4 marker-tick-volume=0.6 samplesperbuffer=1280";
constexpr const char* kUnplugged = "The device was removed.";
constexpr const char* kUnlisted = "The device was removed from the settings.";

/// Takes the first item for which `matches` out of the list.
template <typename Item, typename Predicate>
std::optional<Item> takeOut(std::vector<Item>& items, Predicate matches) {
    const auto found = std::find_if(items.begin(), items.end(), matches);
    if (found == items.end()) {
        return std::nullopt;
    }
    Item item = std::move(*found);
    items.erase(found);
    return item;
}

} // namespace

/// What a refresh did to a list.
struct GstCaptureDevices::Change {
    bool hasNew = false;
    std::vector<Device> gone;
    const char* reason = "";
};

GstCaptureDevices::GstCaptureDevices(Settings& settings, std::unique_ptr<GstMonitor> monitor,
                                     std::function<void(const std::string&)> log, bool demo)
    : settings_(settings)
    , services_{std::make_shared<GstDisposal>(), std::move(log), {}}
    , monitor_(std::move(monitor)) {
    if (demo) {
        addDemoDevices();
    }
    watchMonitor();
    refreshReal();
    readSetting();
    settings_.changed().connect(sigc::mem_fun(*this, &GstCaptureDevices::readSetting));
}

GstCaptureDevices::~GstCaptureDevices() = default;

std::vector<CaptureDevicePointer> GstCaptureDevices::devices(MediaType type) {
    std::vector<CaptureDevicePointer> wanted;
    const auto add = [&](const CaptureDevicePointer& device) {
        if (device->mediaType() == type) {
            wanted.push_back(device);
        }
    };
    for (const auto& real : real_) {
        add(real.device);
    }
    for (const auto& described : described_) {
        add(described.device);
    }
    for (const auto& device : demo_) {
        add(device);
    }
    return wanted;
}

GstCaptureDevices::Device GstCaptureDevices::make(GstCaptureDevice::Traits traits) const {
    if (traits.type == MediaType::Sound) {
        return GstSoundDevice::make(std::move(traits), services_);
    }
    return GstVideoDevice::make(std::move(traits), services_);
}

void GstCaptureDevices::addDemoDevices() {
    demo_.push_back(std::make_shared<DemoCamera>());
    demo_.push_back(make(
        {MediaType::Sound, "Demo Microphone", "Ovelo Demo Microphone", {kDemoSound, nullptr}}));
}

void GstCaptureDevices::watchMonitor() {
    monitor_->watch([this, weak = std::weak_ptr<int>(alive_)] {
        MainThread::perform([this, weak] {
            if (!weak.expired()) {
                refresh();
            }
        });
    });
}

void GstCaptureDevices::refresh() {
    announce(refreshReal());
}

GstCaptureDevices::Change GstCaptureDevices::refreshReal() {
    Change change{false, {}, kUnplugged};
    std::vector<Real> former = std::exchange(real_, {});
    for (auto& found : monitor_->devices()) {
        auto known = takeOut(former, [&](const Real& real) { return real.key == found.key; });
        if (!known) {
            change.hasNew = true;
            known = Real{found.key, make({found.isSound ? MediaType::Sound : MediaType::Video,
                                          found.name,
                                          found.model,
                                          {{}, found.device}})};
        }
        real_.push_back(std::move(*known));
    }
    std::transform(former.begin(), former.end(), std::back_inserter(change.gone),
                   [](const Real& real) { return real.device; });
    return change;
}

void GstCaptureDevices::readSetting() {
    auto texts = settings_.array(kSetting).value_or(Settings::Array{});
    if (texts == setting_) {
        return;
    }
    setting_ = std::move(texts);
    announce(refreshDescribed(parse(setting_)));
}

std::vector<CaptureSourceEntry> GstCaptureDevices::parse(const Settings::Array& texts) {
    std::vector<CaptureSourceEntry> entries;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (const auto entry = CaptureSourceEntry::parse(texts[i])) {
            entries.push_back(entry.value());
        } else if (toldEntries_.insert(texts[i]).second) {
            console::write(
                fmt::format("{}: item {} is left out: {}.", kSetting, i + 1, entry.error()));
        }
    }
    return entries;
}

GstCaptureDevices::Change
GstCaptureDevices::refreshDescribed(const std::vector<CaptureSourceEntry>& entries) {
    Change change{false, {}, kUnlisted};
    std::vector<Described> former = std::exchange(described_, {});
    for (const auto& entry : entries) {
        auto known = takeOut(former, [&](const Described& old) { return old.entry == entry; });
        if (!known) {
            change.hasNew = true;
            known = Described{
                entry, make({entry.type, entry.name, entry.source, {entry.source, nullptr}})};
        }
        described_.push_back(std::move(*known));
    }
    std::transform(former.begin(), former.end(), std::back_inserter(change.gone),
                   [](const Described& old) { return old.device; });
    return change;
}

void GstCaptureDevices::announce(const Change& change) {
    for (const auto& device : change.gone) {
        device->retire(change.reason);
    }
    if (!change.gone.empty()) {
        deviceWasDisconnected().emit();
    }
    if (change.hasNew) {
        deviceWasConnected().emit();
    }
}

} // namespace ovelo
