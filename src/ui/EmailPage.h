#pragma once

#include <QWidget>

#include <sigc++/sigc++.h>

#include <string>
#include <vector>

class QFormLayout;
class QLabel;
class QPushButton;

namespace ovelo {

class MyDocument;
class SettingLineEdit;
class Settings;

/// The mail account that alerts are sent through, and a button that tries it.
///
/// thread  main
class EmailPage final : public QWidget, public sigc::trackable {
public:
    EmailPage(MyDocument& document, Settings& settings);
    ~EmailPage() override;

private:
    QFormLayout* fields();
    SettingLineEdit* field(const char* key, const QString& accessibleName);
    QWidget* buttons();
    void documentChanged(const std::string& property);
    void refreshSending();
    void refreshPort();
    void say(const QString& text);

    MyDocument& document_;
    Settings& settings_;
    std::vector<SettingLineEdit*> lines_;
    QLabel* hint_ = nullptr;
    QLabel* sending_ = nullptr;
    QPushButton* test_ = nullptr;
    SettingLineEdit* port_ = nullptr;
};

} // namespace ovelo
