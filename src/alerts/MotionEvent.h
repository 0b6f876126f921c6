#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"

namespace ovelo {

/// A motion that was declared.
struct MotionEvent {
    TimeValue time;
    double ratio = 0;     // of changed pixels, above the threshold
    double threshold = 0; // at that moment
    Data jpeg;            // the picture, 320 x 240
};

} // namespace ovelo
