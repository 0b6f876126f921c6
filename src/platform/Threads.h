#pragma once

/// What every thread of ours does first.
namespace ovelo {

/// Names the calling thread and leaves SIGINT and SIGTERM to the main thread.
///
/// name  at most 15 characters, as the kernel keeps them
void settleThread(const char* name);

} // namespace ovelo
