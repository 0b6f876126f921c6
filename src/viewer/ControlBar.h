#pragma once

#include "viewer/DataSourceList.h"

#include <QWidget>

#include <functional>
#include <optional>

class QComboBox;
class QLabel;
class QSlider;

namespace ovelo {

/// The sliders for delay and picture rate, and the choice of the camera.
class ControlBar final : public QWidget {
public:
    /// What the user does with the controls.
    struct Actions {
        std::function<void(double)> setDelay;     // seconds
        std::function<void(double)> setFrameRate; // pictures a second
        std::function<void(const std::string&)> chooseSource;
    };

    /// frameRate  where its slider starts; none: where servers start
    ControlBar(double delay, std::optional<double> frameRate, Actions actions,
               QWidget* parent = nullptr);

    void showSources(const DataSourceList& list);

private:
    QSlider* addSlider(const QString& name, int lowest, int highest, int value,
                       const std::function<QString(int)>& describe,
                       const std::function<void(int)>& changed, int row);

    Actions actions_;
    QComboBox* sources_;
};

} // namespace ovelo
