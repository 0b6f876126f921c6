#include "platform/CaptureDevices.h"
#include "ui/Display.h"
#include "ui/OveloApplication.h"
#include "ui/TerminationSignals.h"

#include <malloc.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace {

constexpr const char* kUsage =
    "Usage: ovelo [--help | --version]\n"
    "\n"
    "Turns this computer and its camera into a surveillance camera.\n"
    "There are no other options: everything is set in the window, or with ovelo-settings.\n"
    "Without a display it runs all the same, and prints its alerts on standard error.\n";

/// The exit status, when the command line asks for something else than running the program.
std::optional<int> answerCommandLine(int argc, char** argv) {
    if (argc < 2) {
        return std::nullopt;
    }
    const std::string_view option = argv[1];
    if (argc == 2 && option == "--help") {
        std::fputs(kUsage, stdout);
        return EXIT_SUCCESS;
    }
    if (argc == 2 && option == "--version") {
        std::puts("ovelo " OVELO_VERSION);
        return EXIT_SUCCESS;
    }
    std::fputs(kUsage, stderr);
    return 2;
}

/// Every viewer needs a descriptor.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/// Threads come and go with every viewer, recording and playback. With a heap for each of them, what
/// they leave behind in it adds up to tens of megabytes; two serve as well, as hardly anything is
/// allocated while pictures go out.
void limitHeaps() {
    ::mallopt(M_ARENA_MAX, 2);
}

} // namespace

int main(int argc, char** argv) {
    if (const std::optional<int> status = answerCommandLine(argc, argv)) {
        return *status;
    }
    // Before any thread: the heaps, what the signals do, the environment, the limit.
    limitHeaps();
    ovelo::TerminationSignals signals;
    std::signal(SIGPIPE, SIG_IGN);
    ovelo::display::choosePlatform();
    raiseDescriptorLimit();

    ovelo::CaptureDevices::prepare();
    ovelo::OveloApplication application(argc, argv, signals);
    return application.run();
}
