#pragma once

#include <QDialog>

#include <functional>
#include <string>

class QLabel;
class QLineEdit;

namespace ovelo {

/// Asks for the server's password.
class PasswordDialog final : public QDialog {
public:
    /// answer  called with what was typed; rejected() when the user does not want to
    PasswordDialog(std::function<void(const std::string&)> answer, QWidget* parent);

    /// Asks, saying first that the last password was wrong when it was.
    void ask(const QString& server, bool wrong);

private:
    std::function<void(const std::string&)> answer_;
    QLabel* question_;
    QLineEdit* password_;
};

} // namespace ovelo
