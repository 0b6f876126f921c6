#pragma once

#include "platform/Timer.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace ovelo {

/// Makes timers that tick when the test says so.
class FakeTimers {
public:
    std::function<std::unique_ptr<Timer>(std::chrono::milliseconds, std::function<void()>)>
    factory() {
        return [state = state_](std::chrono::milliseconds delay, std::function<void()> tick) {
            state->delay = delay;
            state->tick = std::move(tick);
            return std::make_unique<Running>(state, ++state->latest);
        };
    }

    /// What the running timer waits for; nothing when none runs.
    [[nodiscard]] std::optional<std::chrono::milliseconds> delay() const { return state_->delay; }

    /// Lets the running timer tick; false when none runs.
    bool tick() {
        const auto tick = std::exchange(state_->tick, nullptr);
        state_->delay.reset();
        if (tick) {
            tick();
        }
        return tick != nullptr;
    }

private:
    struct State {
        std::optional<std::chrono::milliseconds> delay;
        std::function<void()> tick;
        int latest = 0;
    };

    class Running final : public Timer {
    public:
        Running(std::shared_ptr<State> state, int number)
            : state_(std::move(state))
            , number_(number) {}
        ~Running() override {
            if (state_->latest == number_) {
                state_->tick = nullptr;
                state_->delay.reset();
            }
        }

    private:
        std::shared_ptr<State> state_;
        int number_;
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace ovelo
