#pragma once

#include "server/AccountPrompt.h"

#include <functional>

namespace ovelo {

/// An account prompt that can be taken away, because the program is to end.
class ModalPrompt : public AccountPrompt {
public:
    /// Makes a running runModal() return false soon, and every later one at once.
    virtual void cancel() = 0;

    /// Called when the user asks to quit instead of answering.
    void onQuit(std::function<void()> quit) { quit_ = std::move(quit); }

protected:
    void askToQuit() const {
        if (quit_) {
            quit_();
        }
    }

private:
    std::function<void()> quit_;
};

} // namespace ovelo
