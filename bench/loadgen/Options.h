#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace loadgen {

struct Options {
    bool feed = false; // be the camera instead of viewers
    std::string host = "127.0.0.1", password, source, label, json, dump, sync = "0",
                frameRate = "1";
    int port = 1726, clients = 1, slow = 0, churn = 0, mss = 0, detail = 260;
    double seconds = 10, warmup = 10, settle = -1, fps = 15;
    double slowRate = 0; // bytes a second
    int outstanding = 32;
    bool noStart = false, hello = false, audio = false, latency = false, verbose = false,
         slowDefaultBuffers = false;
    double rtt = 0; // milliseconds between two questions
    std::vector<pid_t> pids;
};

/// errors  ends the program with status 2 on wrong use
Options parseOptions(int argc, char** argv);

} // namespace loadgen
