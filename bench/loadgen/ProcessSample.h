#pragma once

#include <sys/types.h>

namespace loadgen {

/// What one or several processes have used until now.
struct ProcessSample {
    double cpuUs = 0;                // exact, all threads, living and ended
    double userUs = 0, systemUs = 0; // in clock ticks (10 ms)
    double rssKb = 0, peakKb = 0;
    long threads = 0, voluntary = 0, involuntary = 0, fds = 0;
};

/// Adds the figures of a process; one that is gone adds nothing.
void addProcess(pid_t pid, ProcessSample& sum);

/// What all CPUs have done until now, in clock ticks.
struct MachineSample {
    double busy = 0, idle = 0, steal = 0;
};

MachineSample machineNow();

} // namespace loadgen
