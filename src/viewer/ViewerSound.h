#pragma once

#include "platform/SoundPlayer.h"
#include "viewer/SoundBlockDecoder.h"
#include "viewer/SoundQueue.h"
#include "viewer/ViewerStream.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// Plays what a server sends in sound: lines that tell its format, and blocks.
///
/// Nothing is played, and no output of the computer is used, before the first format line.
///
/// thread  any
class ViewerSound {
public:
    /// What the computer has.
    struct Parts {
        SoundDecoder::Create createDecoder;
        SoundPlayer::Create createPlayer;
    };

    /// problem  called when sound cannot be played, with the reason, and with an empty text when it
    ///          can (again); on any thread
    ViewerSound(Parts parts, std::function<void(const std::string& problem)> problem);
    ~ViewerSound();
    ViewerSound(const ViewerSound&) = delete;
    ViewerSound& operator=(const ViewerSound&) = delete;

    /// Hears a line of the server; only those that tell a sound format count. The format that is
    /// played already changes nothing; the one of no microphone ends what is played, without a
    /// problem.
    void handleLine(std::string_view line);

    void handleBlock(const ViewerBlock& block);

    /// Ends what is being played, for instance because the connection is lost.
    void reset();

    /// Whether formats and blocks count, as they do at the beginning; off ends what is being played.
    void setWanted(bool wanted);

    /// Seconds by which the server holds pictures back.
    void setDelay(double seconds);

    void setMuted(bool muted) { muted_ = muted; }

    /// volume  0 to 1, as the ear takes it
    void setVolume(double volume) { volume_ = volume; }

    /// By how many seconds sound comes later than the pictures; 0 when they are in step, none when
    /// there is no sound.
    [[nodiscard]] std::optional<double> lag() const;

    /// The least delay with which pictures and sound are in step; none when there is no sound.
    [[nodiscard]] std::optional<double> shortestDelay() const;

private:
    void beginControlled();
    void endControlled();
    void render(std::span<std::int16_t> samples, SoundPlayer::Time heard);
    void tellControlled(const std::string& problem);

    const Parts parts_;
    const std::function<void(const std::string&)> problem_;

    std::mutex control_;                // taken before lock_; held while a player ends
    SoundBlockDecoder blocks_;          // guarded by control_
    std::optional<AudioFormat> format_; // guarded by control_; none: nothing is played
    bool wanted_ = true;                // guarded by control_
    bool complained_ = false;           // guarded by control_

    std::atomic<bool> muted_ = false;
    std::atomic<double> volume_ = 1;
    double gain_ = 0; // of the player's thread: what was applied last

    mutable std::mutex lock_;             // a leaf
    std::optional<SoundQueue> queue_;     // guarded by lock_
    double delay_ = 0;                    // guarded by lock_
    std::unique_ptr<SoundPlayer> player_; // guarded by control_; last: its thread uses the rest
};

} // namespace ovelo
