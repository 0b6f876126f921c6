#pragma once

#include "ui/MotionBar.h"

#include <QWidget>

#include <sigc++/sigc++.h>

#include <functional>
#include <optional>

class QLabel;
class QLayout;
class QTimer;

namespace ovelo {

class SettingLineEdit;
class Settings;

/// What counts as motion, and what is done then.
///
/// thread  main
class AlertsPage final : public QWidget {
public:
    /// The last reading of the detector, if it watches.
    using Readings = std::function<std::optional<MotionBar::Reading>()>;

    AlertsPage(Settings& settings, Readings readings);
    ~AlertsPage() override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* actionsPart();
    QWidget* sensitivityPart();
    QWidget* commandPart();
    void refresh();

    Settings& settings_;
    Readings readings_;
    MotionBar* bar_ = nullptr;
    QLabel* words_ = nullptr;
    SettingLineEdit* command_ = nullptr;
    SettingLineEdit* spacing_ = nullptr;
    QTimer* timer_; // runs while the page is seen
};

} // namespace ovelo
