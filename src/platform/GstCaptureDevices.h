#pragma once

#include "platform/CaptureDevices.h"
#include "platform/CaptureSourceEntry.h"
#include "platform/GstMonitor.h"
#include "platform/GstVideoDevice.h"
#include "platform/Settings.h"

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace ovelo {

/// The computer's devices, those of the setting "captureSources", and the demo devices, in that
/// order.
///
/// thread  main
class GstCaptureDevices final : public CaptureDevices, public sigc::trackable {
public:
    /// log   takes a line, on any thread; may be empty
    /// demo  the demo devices are there
    GstCaptureDevices(Settings& settings, std::unique_ptr<GstMonitor> monitor,
                      std::function<void(const std::string&)> log, bool demo);
    ~GstCaptureDevices() override;

    [[nodiscard]] std::vector<CaptureDevicePointer> devices(MediaType type) override;

private:
    using Device = std::shared_ptr<GstCaptureDevice>;
    struct Real {
        std::string key;
        Device device;
    };
    struct Described {
        CaptureSourceEntry entry;
        Device device;
    };
    struct Change;

    [[nodiscard]] Device make(GstCaptureDevice::Traits traits) const;
    void addDemoDevices();
    void watchMonitor();
    void refresh();
    Change refreshReal();
    void readSetting();
    Change refreshDescribed(const std::vector<CaptureSourceEntry>& entries);
    std::vector<CaptureSourceEntry> parse(const Settings::Array& texts);
    void announce(const Change& change);

    Settings& settings_; // given
    const GstVideoDevice::Services services_;

    // Owned.
    const std::shared_ptr<int> alive_ = std::make_shared<int>(0); // for calls that come late
    std::vector<Real> real_;
    std::vector<Described> described_;
    std::vector<CaptureDevicePointer> demo_;
    Settings::Array setting_;           // as last read
    std::set<std::string> toldEntries_; // malformed ones, each complained of once
    std::unique_ptr<GstMonitor> monitor_;
};

} // namespace ovelo
