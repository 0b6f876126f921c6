#include "integration/Sandbox.h"

#include "platform/FileDescriptor.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace ovelo {

namespace {

bool raiseLoopback() {
    const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    return ::ioctl(socket.get(), SIOCSIFFLAGS, &request) == 0;
}

void allowManyDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

std::string enterSandbox() {
    allowManyDescriptors();
    if (::unshare(CLONE_NEWNET) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return std::string("no network of one's own: ") + std::strerror(errno);
    }
    return raiseLoopback() ? "" : std::string("loopback stays down: ") + std::strerror(errno);
}

void SandboxEnvironment::SetUp() {
    const std::string hindrance = enter();
    if (!hindrance.empty() && std::getenv("OVELO_REQUIRE_SANDBOX") != nullptr) {
        FAIL() << hindrance;
    }
    if (!hindrance.empty()) {
        GTEST_SKIP() << "NOT TESTED: " << hindrance;
    }
}

} // namespace ovelo
