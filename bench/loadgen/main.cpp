// loadgen: many viewers on one thread, to measure the server from outside.
//
// It opens any number of connections, reads every picture that arrives, checks it, and reports how
// evenly the pictures came, how late, and what they cost the server in CPU time and memory. It can
// also play the camera (--feed-raw): raw RGB pictures that carry the time of their making as a bar
// code, which --latency reads back on the viewer's side. Every run is bounded in time and in
// viewers.

#include "Camera.h"
#include "Crowd.h"
#include "Options.h"
#include "Support.h"

#include <signal.h>
#include <sys/resource.h>

#include <cerrno>

int main(int argc, char** argv) {
    const loadgen::Options options = loadgen::parseOptions(argc, argv);
    loadgen::catchSignals();
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    if (options.feed) {
        return loadgen::feedRaw(options);
    }
    for (const pid_t pid : options.pids) {
        if (kill(pid, 0) != 0 && errno == ESRCH) {
            loadgen::die("no process %d", int(pid));
        }
    }
    return loadgen::Crowd(options).run() ? 0 : 1;
}
