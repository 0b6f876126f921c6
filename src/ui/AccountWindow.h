#pragma once

#include "ui/ModalPrompt.h"

#include <QDialog>

#include <sigc++/sigc++.h>

#include <functional>
#include <string>

class QLineEdit;

namespace ovelo {

class Settings;

/// The window that asks for the account e-mail and the viewer password, before anything else can
/// start.
///
/// thread  main
class AccountWindow final : public QDialog, public ModalPrompt, public sigc::trackable {
public:
    /// Stores both texts, and tells whether they will do.
    using Answer = std::function<bool(const std::string& email, const std::string& password)>;

    explicit AccountWindow(Settings& settings);

    bool runModal(Network& network) override;
    void showAlert(const std::string& message, const std::string& informativeText) override;
    void cancel() override;

    /// Asks until `answer` has accepted, the account is stored by somebody else, or there shall be
    /// no answer.
    ///
    /// return  false when the program is to end instead
    bool ask(Answer answer);

    /// The user wants to quit, or has closed the window.
    void reject() override;

private:
    void build();
    void submit();
    void accountStored();

    Settings& settings_;
    Answer answer_;
    QLineEdit* email_ = nullptr;
    QLineEdit* password_ = nullptr;
    std::string knownEmail_; // as we found or stored it: another one comes from another process
    bool cancelled_ = false;
};

} // namespace ovelo
