#include "platform/Threads.h"

#include <pthread.h>

#include <csignal>

namespace ovelo {

void settleThread(const char* name) {
    ::pthread_setname_np(::pthread_self(), name);
    sigset_t signals{};
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace ovelo
