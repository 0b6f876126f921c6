#pragma once

#include <QDialog>

#include <string>

class QPlainTextEdit;

namespace ovelo {

class MyDocument;

/// The panel that explains the settings of outgoing mail.
///
/// thread  main
class EmailHelpPanel final : public QDialog {
public:
    EmailHelpPanel(MyDocument& document, QWidget* window);

    [[nodiscard]] std::string text() const;
    void setText(const std::string& text);

private:
    QPlainTextEdit* text_ = nullptr;
};

} // namespace ovelo
