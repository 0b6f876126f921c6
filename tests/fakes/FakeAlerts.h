#pragma once

#include "support/UserAlerts.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// Alerts that nobody sees; the test presses their buttons.
class FakeAlerts final : public UserAlerts {
public:
    void tell(const std::string& message, const std::string& informativeText,
              std::function<void()> closed) override {
        told.push_back(message + " / " + informativeText);
        closed_ = std::move(closed);
    }
    void ask(const Question& question,
             std::function<void(bool otherButtonPressed)> answer) override {
        asked.push_back(question);
        answer_ = std::move(answer);
    }

    /// Presses "OK" of the latest alert.
    void close() {
        if (const auto closed = std::exchange(closed_, nullptr)) {
            closed();
        }
    }
    /// Presses the other button of the latest question, or the default one.
    void answer(bool otherButtonPressed) { std::exchange(answer_, nullptr)(otherButtonPressed); }

    std::vector<std::string> told;
    std::vector<Question> asked;

private:
    std::function<void()> closed_;
    std::function<void(bool)> answer_;
};

} // namespace ovelo
