#pragma once

#include <QWidget>

#include <sigc++/sigc++.h>

class QLabel;
class QPushButton;

namespace ovelo {

class DriverSetting;

/// Whether the camera driver is installed, and the button that installs or removes it.
///
/// thread  main
class DriverBar final : public QWidget, public sigc::trackable {
public:
    explicit DriverBar(DriverSetting& setting);

private:
    void refresh();

    DriverSetting& setting_;
    QLabel* status_ = nullptr;
    QPushButton* button_ = nullptr;
};

} // namespace ovelo
