#pragma once

#include "platform/CaptureDevices.h"
#include "platform/CaptureSession.h"
#include "platform/Mutex.h"

#include <sigc++/sigc++.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

class DocumentWindow;
class Logger;
class NetworkCameras;

/// Which camera and microphone the session uses: the lists that people and viewers choose from, and the choice.
///
/// thread  main, but for getDataSource(), which any thread may call
class SourceSelection final : public sigc::trackable {
public:
    using DeviceList = std::vector<CaptureDevicePointer>;
    using Names = std::vector<std::string>;

    /// cameras  the user's network cameras, or null when there can be none
    SourceSelection(CaptureDevices& devices, CaptureSession& session, NetworkCameras* cameras,
                    Logger& log);
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
    [[nodiscard]] std::string getDataSource();
    void resetDataSource(std::string_view request);

    // Tape cameras.
    [[nodiscard]] CaptureDevicePointer controllableDevice() const;
    [[nodiscard]] bool isDevicePlaying() const;
    void setDevicePlaying(bool playing);
    void stopDevice();

    /// One line for each stream; nothing when there is no input.
    [[nodiscard]] std::optional<std::string> mediaFormatSummary() const;

    /// A property of this name has another value now.
    sigc::signal<void(const std::string&)>& propertyChanged() { return propertyChanged_; }

    /// The video device is about to change.
    sigc::signal<void()>& videoDeviceWillChange() { return videoDeviceWillChange_; }

private:
    struct Watch; // the connections to the signals of the device in use

    [[nodiscard]] Names offeredNames() const;
    [[nodiscard]] CaptureDevicePointer videoDeviceNamed(const std::string& name) const;
    [[nodiscard]] std::string identifierOf(const std::string& sourceName) const;
    bool openVideo(const CaptureDevicePointer& device);
    bool openAudio(const CaptureDevicePointer& device);
    void fail(const std::string& logFormat, const CaptureDevice& device, const Failure& failure);
    void removeVideoInput();
    void removeAudioInput();
    void watch(const CaptureDevicePointer& device);
    void deviceEnded(const CaptureDevicePointer& device, const std::string& reason);
    void announce(const std::string& property);
    void publishDataSource();

    // Given, not owned.
    CaptureDevices& devices_;
    CaptureSession& session_;
    NetworkCameras* cameras_;
    Logger& log_;
    DocumentWindow* window_ = nullptr;

    // Owned.
    std::optional<DeviceList> videoDevices_;
    std::optional<Names> videoDeviceNames_;
    std::optional<DeviceList> audioDevices_;
    std::shared_ptr<CaptureDeviceInput> videoDeviceInput_;
    std::shared_ptr<CaptureDeviceInput> audioDeviceInput_;
    std::optional<std::string> curPlayingCam_;
    std::vector<std::unique_ptr<Watch>> watches_;
    sigc::signal<void(const std::string&)> propertyChanged_;
    sigc::signal<void()> videoDeviceWillChange_;

    // What getDataSource() answers from any thread.
    mutable Mutex dataSourceLock_{LockRank::Settings};
    std::string dataSource_ OVELO_GUARDED_BY(dataSourceLock_) = "DATA_SOURCE\n";
};

} // namespace ovelo
