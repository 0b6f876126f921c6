#pragma once

#include <poll.h>

#include <chrono>
#include <span>

namespace ovelo {

/// Waits until one of `descriptors` is ready or the time is over; their `revents` tell. A signal
/// does not end it.
///
/// timeout  rounded up to milliseconds; nothing or less only looks
/// return   0, or the error number of a poll that failed; no descriptor is ready then
int pollFor(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout);

} // namespace ovelo
