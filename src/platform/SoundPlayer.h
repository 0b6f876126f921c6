#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace ovelo {

/// Plays sound of one channel on the computer's default output, from its beginning to its end.
///
/// thread    created and destroyed on one thread, which waits for the last call of the functions
class SoundPlayer {
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Functions {
        /// Fills in what is played next; the first sample is heard at `heard`. Called on the
        /// player's own thread, some milliseconds at a time.
        std::function<void(std::span<std::int16_t> samples, Time heard)> render;

        /// Called when the output cannot be used, with the reason, and with an empty text when it
        /// plays (again); on the player's own thread.
        std::function<void(const std::string& problem)> changed;
    };

    using Create = std::function<std::unique_ptr<SoundPlayer>(int rate, Functions functions)>;

    /// At most so long before they are heard samples are asked for.
    static constexpr std::chrono::milliseconds kLead{120};

    SoundPlayer() = default;
    virtual ~SoundPlayer() = default;
    SoundPlayer(const SoundPlayer&) = delete;
    SoundPlayer& operator=(const SoundPlayer&) = delete;

    /// Begins to play. Where there is no output, or it goes away, it is tried again now and then.
    ///
    /// rate  samples a second
    [[nodiscard]] static std::unique_ptr<SoundPlayer> create(int rate, Functions functions);
};

} // namespace ovelo
