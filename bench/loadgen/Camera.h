#pragma once

#include "Options.h"

namespace loadgen {

/// Serves raw RGB pictures of 320 x 240 with the time of their making to whoever connects, until
/// the time is over.
///
/// return  the program's exit status
int feedRaw(const Options& options);

} // namespace loadgen
