#pragma once

#include "app/MovieRecording.h"

namespace ovelo {

class Settings;

/// Makes the outputs that movies are recorded with; the setting "movieCodec" is read for each.
///
/// lifetime  what it is given outlives the factory and its outputs
[[nodiscard]] MovieRecording::OutputFactory movieOutputFactory(const Settings& settings,
                                                               const Clock& clock, Logger& log);

} // namespace ovelo
