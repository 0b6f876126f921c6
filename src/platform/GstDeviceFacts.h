#pragma once

#include "platform/GstMonitor.h"

#include <memory>

namespace ovelo {

/// What we want to know of a device, read from the properties that its provider gives it.
///
/// Names lose what would break the line that viewers get: bars and control characters become
/// blanks.
[[nodiscard]] GstMonitor::Found factsOf(std::shared_ptr<GstDevice> device);

} // namespace ovelo
