#pragma once

#include <QDialog>

class QLabel;
class QLayout;

namespace ovelo {

class DriverSetting;
class Logger;
class MyDocument;
class SettingLineEdit;
class Settings;

/// Every choice of the user that is kept, bound to the settings store both ways.
///
/// thread  main
class OptionsPanel final : public QDialog {
public:
    /// driver  the camera driver's, or null when there is none to show
    OptionsPanel(MyDocument& document, Settings& settings, Logger& log, QWidget* window,
                 DriverSetting* driver = nullptr);
    ~OptionsPanel() override;

private:
    QWidget* picturePart();
    QWidget* accountPart();
    QWidget* logPart();
    QWidget* routerPart();
    QWidget* driverPart();
    QWidget* generalPage();
    void addBox(QLayout& layout, const char* key, const QString& label, bool whenAbsent = false);

    MyDocument& document_;
    Settings& settings_;
    Logger& log_;
    DriverSetting* driver_;
    SettingLineEdit* email_ = nullptr;
    SettingLineEdit* password_ = nullptr;
};

} // namespace ovelo
