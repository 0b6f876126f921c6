#pragma once

#include <signal.h>
#include <time.h>

#include <cstdint>

namespace loadgen {

/// Microseconds of a clock of the system.
std::int64_t clockUs(clockid_t id);

/// Microseconds of the monotonic clock.
std::int64_t nowUs();

/// Microseconds since 1970.
std::int64_t wallUs();

/// Says what is wrong on standard error and ends the program with status 2.
[[noreturn]] [[gnu::format(printf, 1, 2)]] void die(const char* format, ...);

/// Set by SIGINT and SIGTERM once catchSignals was called.
bool isInterrupted();

/// SIGINT and SIGTERM end the run early but in order; SIGPIPE is ignored.
void catchSignals();

} // namespace loadgen
