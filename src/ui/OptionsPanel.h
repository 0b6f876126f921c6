#pragma once

#include <QDialog>

class QLabel;
class QLayout;

namespace ovelo {

class Logger;
class MyDocument;
class SettingLineEdit;
class Settings;

/// Every choice of the user that is kept, bound to the settings store both ways.
///
/// thread  main
class OptionsPanel final : public QDialog {
public:
    OptionsPanel(MyDocument& document, Settings& settings, Logger& log, QWidget* window);
    ~OptionsPanel() override;

private:
    QWidget* picturePart();
    QWidget* accountPart();
    QWidget* logPart();
    QWidget* routerPart();
    QWidget* generalPage();
    void addBox(QLayout& layout, const char* key, const QString& label, bool whenAbsent = false);

    MyDocument& document_;
    Settings& settings_;
    Logger& log_;
    SettingLineEdit* email_ = nullptr;
    SettingLineEdit* password_ = nullptr;
};

} // namespace ovelo
