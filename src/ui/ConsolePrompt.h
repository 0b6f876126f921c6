#pragma once

#include "server/AccountPrompt.h"
#include "ui/ModalPrompt.h"

namespace ovelo {

class Settings;

/// The account prompt of a computer without a display: says on standard error how the account is
/// set from a shell, and waits until it is.
class ConsolePrompt final : public ModalPrompt {
public:
    explicit ConsolePrompt(Settings& settings) : settings_(settings) {}

    bool runModal(Network& network) override;
    void showAlert(const std::string& message, const std::string& informativeText) override;
    void cancel() override;

private:
    [[nodiscard]] bool hasAccount() const;

    Settings& settings_;
    bool cancelled_ = false;
    std::function<void()> wake_; // ends the wait; set while it lasts
};

} // namespace ovelo
