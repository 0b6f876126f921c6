#pragma once

#include "platform/GstTypes.h"
#include "platform/Mutex.h"
#include "platform/SoundPlayer.h"

#include <condition_variable>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

namespace ovelo {

/// Plays through GStreamer's automatic sink.
///
/// A thread of its own keeps the sink supplied for kLead, no further: a little before a piece is
/// heard it is asked for, and it is told when, by the clock of the sound hardware.
class GstSoundPlayer final : public SoundPlayer {
public:
    GstSoundPlayer(int rate, Functions functions);
    ~GstSoundPlayer() override;

private:
    void run(const std::stop_token& stop);
    void waitForOutput(const std::stop_token& stop);
    std::string play(const std::stop_token& stop);
    std::string build();
    std::string begin(const std::stop_token& stop);
    bool awaitPlaying(const std::stop_token& stop);
    std::string supply(const std::stop_token& stop);
    void supplyUpTo(std::int64_t end, std::int64_t now);
    void push(std::optional<Time> heard);
    [[nodiscard]] std::int64_t position() const;
    [[nodiscard]] std::optional<std::int64_t> runningTime() const;
    [[nodiscard]] std::string problem() const;
    void tearDown();
    void tell(const std::string& problem);
    void pause(const std::stop_token& stop, std::chrono::milliseconds length);

    const int rate_;
    const Functions functions_;
    std::optional<std::string> told_; // the last problem
    GstPointer<GstElement> pipeline_;
    GstPointer<GstElement> input_;
    std::int64_t samples_ = 0; // pushed into this pipeline, or passed over
    std::vector<std::int16_t> piece_;
    Mutex pauseLock_{LockRank::Threads};
    std::condition_variable_any stopped_;
    std::jthread thread_; // last: uses the rest
};

} // namespace ovelo
