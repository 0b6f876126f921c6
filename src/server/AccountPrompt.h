#pragma once

#include <string>

namespace ovelo {

class Network;

/// Asks the user for the account e-mail and the viewer password. Implemented by the user interface.
class AccountPrompt {
public:
    virtual ~AccountPrompt() = default;

    /// Asks until Network::setButtonPressed has accepted an answer, or the account is in the
    /// settings.
    ///
    /// return  false when the program is to end instead
    /// thread  main; the main loop is served meanwhile
    virtual bool runModal(Network& network) = 0;

    /// Shows an alert with an OK button.
    virtual void showAlert(const std::string& message, const std::string& informativeText) = 0;
};

} // namespace ovelo
