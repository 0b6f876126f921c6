#pragma once

#include "alerts/MotionLevel.h"

#include <QWidget>

#include <sigc++/sigc++.h>

#include <functional>

class QLabel;
class QLayout;
class QTimer;

namespace ovelo {

class MotionBar;
class SettingLineEdit;
class Settings;

/// What counts as motion, and what is done then.
///
/// thread  main
class AlertsPage final : public QWidget {
public:
    /// What the detector has seen last.
    using Level = std::function<MotionLevel()>;

    AlertsPage(Settings& settings, Level level);
    ~AlertsPage() override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* actionsPart();
    QWidget* sensitivityPart();
    QWidget* commandPart();
    SettingLineEdit* spacingField();
    void say(const QString& text);
    void refresh();

    Settings& settings_;
    Level level_;
    MotionBar* bar_ = nullptr;
    QLabel* words_ = nullptr;
    SettingLineEdit* command_ = nullptr;
    SettingLineEdit* spacing_ = nullptr;
    QLabel* hint_ = nullptr;
    QTimer* timer_; // runs while the page is seen
};

} // namespace ovelo
