#pragma once

#include "platform/CaptureDevice.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace ovelo {

/// Everybody who hears a device's sound at the moment.
///
/// lifetime  shared by the device, by what delivers its sound, and by the taps, which may outlive
///           the device
class SoundTaps final : public std::enable_shared_from_this<SoundTaps> {
public:
    using SoundHandler = CaptureDevice::SoundHandler;

    SoundTaps() = default;
    ~SoundTaps() = default;
    SoundTaps(const SoundTaps&) = delete;
    SoundTaps& operator=(const SoundTaps&) = delete;

    /// thread  main
    [[nodiscard]] std::unique_ptr<SoundTap> add(SoundHandler handler);

    /// Tells from now on when the first tap has come or the last one has gone; null for nobody.
    ///
    /// thread  main, where `changed` is called
    void watch(std::function<void()> changed) { changed_ = std::move(changed); }

    /// Hands the block to each tap, one after the other.
    ///
    /// thread  any, one call at a time
    void deliver(const SoundBlock& block);

    /// thread  any
    [[nodiscard]] bool isHeard() const { return isHeard_; }

private:
    class Tap;

    void insert(const Tap& tap);
    void remove(const Tap& tap);

    std::function<void()> changed_; // the main thread's
    std::atomic<bool> isHeard_ = false;
    std::mutex lock_; // guards taps_; held while their handlers run
    std::vector<const Tap*> taps_;
};

} // namespace ovelo
