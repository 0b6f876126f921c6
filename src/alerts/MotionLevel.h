#pragma once

#include <optional>

namespace ovelo {

/// What the window shows of the motion detector.
struct MotionLevel {
    bool isWanted = false;         // an alert is switched on
    bool isWatching = false;       // it is, and pictures come
    std::optional<double> ratio{}; // of changed pixels; none before two pictures were compared
    double threshold = 0;          // above which the ratio is motion
};

} // namespace ovelo
