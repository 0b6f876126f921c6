#pragma once

#include "platform/SoundBlock.h"
#include "platform/VideoFrame.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace ovelo {

/// What devices have delivered and the recorder has not taken yet: a second or so of pictures, and
/// ten of sound. When the recorder does not keep up the oldest go, and are counted.
///
/// thread  any; nobody waits but in waitForEnd()
class MovieInbox final {
public:
    using Steady = std::chrono::steady_clock::time_point;

    struct Picture {
        VideoFrame frame;
        Steady time;
    };
    struct Sound {
        std::vector<std::int16_t> samples;
        Steady time;
    };
    struct Batch {
        std::deque<Picture> pictures;
        std::deque<Sound> sounds;
    };

    /// Lets things in from now on.
    void open();

    /// Lets nothing in any more. The first call's moment is kept.
    void close(Steady end);

    void add(const VideoFrame& frame, Steady time);
    void add(const SoundBlock& block);

    /// Everything there is, oldest first.
    [[nodiscard]] Batch take();

    /// Waits until it is closed. return: false when it is not within the limit
    [[nodiscard]] bool waitForEnd(std::chrono::milliseconds limit);

    /// The moment of close().
    [[nodiscard]] Steady end() const;

    /// Pictures, and blocks of sound, that were dropped since open().
    [[nodiscard]] std::uint64_t dropped() const;

    /// Pictures that wait.
    [[nodiscard]] std::size_t waiting() const;

private:
    mutable std::mutex lock_; // a leaf
    std::condition_variable closed_;
    bool isOpen_ = false;
    Steady end_;
    Batch batch_;
    std::size_t samples_ = 0;
    std::uint64_t dropped_ = 0;
};

} // namespace ovelo
