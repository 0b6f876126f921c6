#pragma once

#include "app/DocumentWindow.h"
#include "app/MyDocument.h"
#include "fakes/QtWait.h"
#include "fakes/TemporaryFolder.h"
#include "platform/CaptureDevices.h"
#include "platform/MemorySettings.h"
#include "server/AccountPrompt.h"
#include "support/Logger.h"

#include <QWidget>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// A device that delivers nothing, and that refuses to open when told to.
class StillDevice final : public CaptureDevice {
public:
    StillDevice(MediaType type, std::string name) : type_(type), name_(std::move(name)) {}

    [[nodiscard]] MediaType mediaType() const override { return type_; }
    [[nodiscard]] std::string localizedDisplayName() const override { return name_; }
    [[nodiscard]] std::string uniqueModelIdentifier() const override { return "model " + name_; }
    [[nodiscard]] std::optional<Failure> open() override { return refusal; }
    void close() override {}
    void start(FrameHandler /*handler*/) override {}
    void stop() override {}

    std::optional<Failure> refusal;

private:
    MediaType type_;
    std::string name_;
};

/// Devices that a test plugs in and out.
class PluggedDevices final : public CaptureDevices {
public:
    [[nodiscard]] std::vector<CaptureDevicePointer> devices(MediaType type) override {
        return devices_[type];
    }

    std::shared_ptr<StillDevice> plugIn(MediaType type, const std::string& name) {
        auto device = std::make_shared<StillDevice>(type, name);
        devices_[type].push_back(device);
        return device;
    }

    void unplugAll(MediaType type) { devices_[type].clear(); }

private:
    std::map<MediaType, std::vector<CaptureDevicePointer>> devices_;
};

class SilentPrompt final : public AccountPrompt {
public:
    bool runModal(Network& /*network*/) override { return false; }
    void showAlert(const std::string& message, const std::string& /*text*/) override {
        alerts.push_back(message);
    }

    std::vector<std::string> alerts;
};

/// A document with settings in memory, two cameras and two microphones. Its server is not started.
class DocumentFixture : public ::testing::Test {
protected:
    DocumentFixture() {
        devices_.plugIn(MediaType::Video, "Front Camera");
        devices_.plugIn(MediaType::Video, "Back Camera");
        devices_.plugIn(MediaType::Sound, "Desk Microphone");
        devices_.plugIn(MediaType::Sound, "Line In");
        writeFile(folder_.path() / "EmailHelp.txt", "Use an app password.");
    }

    /// Lets everything happen that waits in the event loop.
    static void settle() {
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
    }

    /// The child of this name; the test ends here when there is none.
    template <typename Widget>
    static Widget& child(const QObject& parent, const char* name) {
        auto* found = parent.findChild<Widget*>(QString::fromUtf8(name));
        if (found == nullptr) {
            throw std::runtime_error(std::string("no child is called ") + name);
        }
        return *found;
    }

    TemporaryFolder folder_;
    MemorySettings settings_;
    Logger log_{folder_.path() / "ovelo.log", settings_};
    PluggedDevices devices_;
    SilentPrompt prompt_;
    MyDocument document_{{
        .settings = settings_,
        .log = log_,
        .clock = Clock::system(),
        .devices = devices_,
        .cameras = nullptr,
        .prompt = prompt_,
        .publisher = [](const PublishedService&, ServicePublisher::Delegate&) { return nullptr; },
        .resources = folder_.path(),
    }};
};

} // namespace ovelo
