#pragma once

#include "platform/CaptureDeviceInput.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace ovelo {

class MovieFileOutput;

/// Brings the pictures of its inputs to its output and to the preview, and pictures and sound to a
/// movie.
///
/// thread  main; handlers are called on the device's thread, one call at a time
class CaptureSession final {
public:
    using FrameHandler = CaptureDevice::FrameHandler;

    CaptureSession() = default;
    ~CaptureSession();
    CaptureSession(const CaptureSession&) = delete;
    CaptureSession& operator=(const CaptureSession&) = delete;

    /// Takes every picture, 320 x 240. Set before the session runs.
    void setVideoOutput(FrameHandler handler) { output_ = std::move(handler); }

    /// Takes every picture for the screen, and must be quick. Returns when the former handler is
    /// not running any more.
    void setPreview(FrameHandler handler);

    /// Adds an input whose device is open, and starts it when the session runs.
    ///
    /// errors  when the input is there already, or its device delivers what another input delivers
    [[nodiscard]] std::optional<Failure> addInput(const std::shared_ptr<CaptureDeviceInput>& input);

    /// Stops the input; its device stays open. Harmless when it is not there.
    void removeInput(const std::shared_ptr<CaptureDeviceInput>& input);

    /// Hands every picture, before anybody else takes it, and the sound of the sound input, or else
    /// of the video input when it has sound of its own, to a movie; whatever the inputs are at the
    /// time.
    ///
    /// errors  when there is a movie already
    [[nodiscard]] std::optional<Failure> addOutput(MovieFileOutput& movie);

    /// Returns when the movie is handed nothing any more. Harmless when it is not there.
    void removeOutput(MovieFileOutput& movie);

    void startRunning();
    void stopRunning();
    [[nodiscard]] bool isRunning() const { return running_; }

private:
    void start(CaptureDeviceInput& input);
    void deliver(const VideoFrame& frame);
    void deliverToMovie(const VideoFrame& frame);
    [[nodiscard]] CaptureDevicePointer soundingDevice() const;
    void listen();

    FrameHandler output_;
    std::vector<std::shared_ptr<CaptureDeviceInput>> inputs_;
    bool running_ = false;
    std::atomic<bool> hasMovie_{false};
    std::mutex movieLock_; // held while the movie takes a picture; a leaf
    MovieFileOutput* movie_ = nullptr;
    CaptureDevicePointer heard_;    // whose sound the movie gets
    std::unique_ptr<SoundTap> tap_; // on it
    std::mutex previewLock_;        // held while the preview takes a picture
    FrameHandler preview_;
};

} // namespace ovelo
