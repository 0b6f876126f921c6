#pragma once

#include "viewer/DataSourceList.h"

#include <QWidget>

#include <functional>
#include <optional>

class QComboBox;
class QLabel;
class QSlider;

namespace ovelo {

/// The sliders for delay and picture rate, and the choice of camera and microphone.
class ControlBar final : public QWidget {
public:
    /// What the user does with the controls.
    struct Actions {
        std::function<void(double)> setDelay;     // seconds
        std::function<void(double)> setFrameRate; // pictures a second
        std::function<void(const std::string&)> chooseCamera;
        std::function<void(const std::string&)> chooseMicrophone;
    };

    /// frameRate  where its slider starts; none: where servers start
    ControlBar(double delay, std::optional<double> frameRate, Actions actions,
               QWidget* parent = nullptr);

    void showSources(const DataSourceList& list);

    /// Moves the slider to at least so many seconds, as far as it goes.
    void setDelay(double seconds);

private:
    QComboBox* addChooser(const QString& name, const QString& toolTip, int column,
                          const std::function<void(const std::string&)>& chosen);
    QSlider* addSlider(const QString& name, const QString& toolTip, int lowest, int highest,
                       int value, const std::function<QString(int)>& describe,
                       const std::function<void(int)>& changed, int column);

    Actions actions_;
    QSlider* delay_;
    QComboBox* cameras_;
    QComboBox* microphones_;
};

} // namespace ovelo
