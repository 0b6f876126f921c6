#include "Support.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace loadgen {

namespace {

volatile sig_atomic_t interrupted = 0;

void onSignal(int /*number*/) {
    interrupted = 1;
}

} // namespace

std::int64_t clockUs(clockid_t id) {
    timespec t{};
    clock_gettime(id, &t);
    return std::int64_t(t.tv_sec) * 1000000 + t.tv_nsec / 1000;
}
std::int64_t nowUs() {
    return clockUs(CLOCK_MONOTONIC);
}
std::int64_t wallUs() {
    return clockUs(CLOCK_REALTIME);
}

void die(const char* format, ...) {
    va_list args;
    va_start(args, format);
    fprintf(stderr, "loadgen: ");
    vfprintf(stderr, format, args);
    fputc('\n', stderr);
    va_end(args);
    exit(2);
}

bool isInterrupted() {
    return interrupted != 0;
}

void catchSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGINT, onSignal);
    signal(SIGTERM, onSignal);
}

} // namespace loadgen
