#pragma once

#include "platform/CaptureDevices.h"
#include "platform/CaptureSession.h"
#include "platform/Mutex.h"

#include <sigc++/sigc++.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

class DocumentWindow;
class Logger;
class NetworkCameras;

/// Which camera and microphone the session uses: the lists that people and viewers choose from, and
/// the choice.
///
/// thread  main, but for getDataSource() and videoDeviceDisplayName(), which any thread may call
class SourceSelection final : public sigc::trackable {
public:
    using DeviceList = std::vector<CaptureDevicePointer>;
    using Names = std::vector<std::string>;

    /// Chooses whose sound viewers hear, by its display name.
    using AudioInput = std::function<void(const std::string&)>;

    /// cameras  the user's network cameras, or null when there can be none
    SourceSelection(CaptureDevices& devices, CaptureSession& session, NetworkCameras* cameras,
                    AudioInput audio, Logger& log);
    ~SourceSelection();
    SourceSelection(const SourceSelection&) = delete;
    SourceSelection& operator=(const SourceSelection&) = delete;

    /// Where errors are shown; none before it is set.
    void setWindow(DocumentWindow* window) { window_ = window; }

    // The lists. The first read builds them.
    void refreshDevices();
    const DeviceList& videoDevices();
    const Names& videoDeviceNames();
    const DeviceList& audioDevices();

    /// Forgets the names, so that refreshDevices() or the next read builds them anew.
    void dropVideoDeviceNames();

    // The choice.
    [[nodiscard]] CaptureDevicePointer selectedVideoDevice() const;
    [[nodiscard]] CaptureDevicePointer selectedAudioDevice() const;
    void setSelectedVideoDevice(const CaptureDevicePointer& device);
    void setSelectedAudioDevice(const CaptureDevicePointer& device);
    [[nodiscard]] std::optional<std::string> selectedVideoDeviceName() const;
    void setSelectedVideoDeviceName(const std::string& name);
    [[nodiscard]] bool selectedVideoDeviceProvidesAudio() const;
    [[nodiscard]] bool hasRecordingDevice() const;

    // What viewers see and send.
    [[nodiscard]] std::string getDataSource() const;
    void resetDataSource(std::string_view text);

    /// The name of the device in use, if there is one. Any thread.
    [[nodiscard]] std::optional<std::string> videoDeviceDisplayName() const;

    // Tape cameras.
    [[nodiscard]] CaptureDevicePointer controllableDevice() const;
    [[nodiscard]] bool isDevicePlaying() const;
    void setDevicePlaying(bool playing);
    void stopDevice();

    /// One line for each stream; nothing when there is no input.
    [[nodiscard]] std::optional<std::string> mediaFormatSummary() const;

    /// A property of this name has another value now.
    sigc::signal<void(const std::string&)>& propertyChanged() { return propertyChanged_; }

    /// The video device is changing: the former one's last picture is through, and the next one's
    /// first has not come.
    sigc::signal<void()>& videoDeviceWillChange() { return videoDeviceWillChange_; }

private:
    [[nodiscard]] Names offeredNames() const;
    [[nodiscard]] CaptureDevicePointer videoDeviceNamed(const std::string& name) const;
    [[nodiscard]] std::optional<std::string> cameraOf(const std::string& sourceName) const;
    [[nodiscard]] std::string identifierOf(const std::string& sourceName) const;
    [[nodiscard]] std::string dataSourceLine() const;
    std::shared_ptr<CaptureDeviceInput> openInput(const CaptureDevicePointer& device,
                                                  const std::string& kind);
    void removeInput(std::shared_ptr<CaptureDeviceInput>& input);
    void hear(const CaptureDevicePointer& device);
    void report(const std::string& what, const CaptureDevice& device, const Failure& failure);
    void watch(const CaptureDevicePointer& device);
    void deviceEnded(const CaptureDevicePointer& device, const std::string& reason);
    void announce(const std::string& property);
    void announceVideoDevice();
    void announceAudioDevice();
    void publishForViewers();

    // Given, not owned.
    CaptureDevices& devices_;
    CaptureSession& session_;
    NetworkCameras* cameras_;
    const AudioInput audio_;
    Logger& log_;
    DocumentWindow* window_ = nullptr;

    // Owned.
    std::optional<DeviceList> videoDevices_;
    std::optional<Names> videoDeviceNames_;
    std::optional<DeviceList> audioDevices_;
    std::shared_ptr<CaptureDeviceInput> videoDeviceInput_;
    std::shared_ptr<CaptureDeviceInput> audioDeviceInput_;
    std::optional<std::string> curPlayingCam_;
    std::map<const CaptureDevice*, std::vector<sigc::connection>> watches_; // on the devices in use
    sigc::signal<void(const std::string&)> propertyChanged_;
    sigc::signal<void()> videoDeviceWillChange_;

    // What other threads are answered.
    mutable Mutex publishedLock_{LockRank::Settings};
    std::string dataSource_ OVELO_GUARDED_BY(publishedLock_);
    std::optional<std::string> displayName_ OVELO_GUARDED_BY(publishedLock_);
};

} // namespace ovelo
