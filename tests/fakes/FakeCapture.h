#pragma once

#include "platform/CaptureDevices.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// A camera or microphone without hardware.
class FakeDevice final : public CaptureDevice {
public:
    FakeDevice(MediaType type, std::string name, std::string identifier = {})
        : type_(type)
        , name_(std::move(name))
        , identifier_(identifier.empty() ? "id of " + name_ : std::move(identifier)) {}

    MediaType mediaType() const override { return type_; }
    std::string localizedDisplayName() const override { return name_; }
    std::string uniqueModelIdentifier() const override { return identifier_; }
    std::optional<Failure> open() override {
        if (failure) {
            return failure;
        }
        isOpen = true;
        return std::nullopt;
    }
    void close() override {
        isOpen = false;
        handler = nullptr;
    }
    void start(FrameHandler frames) override { handler = std::move(frames); }
    void stop() override { handler = nullptr; }
    std::vector<std::string> formatSummaries() const override { return {"format of " + name_}; }
    std::optional<TapeTransport> transport() const override { return tape; }
    void setTransport(const TapeTransport& wanted) override {
        tape = wanted;
        transportChanged().emit();
    }

    std::optional<Failure> failure;
    std::optional<TapeTransport> tape;
    bool isOpen = false;
    FrameHandler handler;

private:
    MediaType type_;
    std::string name_;
    std::string identifier_;
};

/// The devices that a test puts there.
class FakeDevices final : public CaptureDevices {
public:
    std::vector<CaptureDevicePointer> devices(MediaType type) override {
        std::vector<CaptureDevicePointer> chosen;
        for (const auto& device : all) {
            if (device->mediaType() == type) {
                chosen.push_back(device);
            }
        }
        return chosen;
    }
    std::shared_ptr<FakeDevice> add(MediaType type, const std::string& name,
                                    const std::string& identifier = {}) {
        auto device = std::make_shared<FakeDevice>(type, name, identifier);
        all.push_back(device);
        return device;
    }
    void remove(const std::shared_ptr<FakeDevice>& device) {
        std::erase(all, device);
        deviceWasDisconnected().emit();
    }

    std::vector<std::shared_ptr<FakeDevice>> all;
};

} // namespace ovelo
