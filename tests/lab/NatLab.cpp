#include "lab/NatLab.h"

#include "fakes/UdpPeer.h"
#include "integration/Sandbox.h"
#include "nat/StunBytes.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

bool isInstalled(const std::string& program) {
    for (const char* folder : {"/usr/bin/", "/usr/sbin/", "/bin/", "/sbin/"}) {
        if (::access((folder + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

/// The namespaces are named by files below /run.
std::string takeRunForOurselves() {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0) {
        return std::string("no /run of one's own: ") + std::strerror(errno);
    }
    ::mkdir("/run/netns", 0755);
    return {};
}

/// The commands need the folders of the system's tools.
bool shell(const std::string& command) {
    return std::system(("PATH=$PATH:/usr/sbin:/sbin; " + command).c_str()) == 0;
}

bool answersStun(UdpPeer& peer) {
    StunMessage request;
    stunBuildReqSimple(&request, {}, false, false, 1);
    StunBytes bytes(STUN_MAX_MESSAGE_SIZE);
    bytes.resize(stunEncodeMessage(request, bytes, {}, false));
    peer.send({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, 3478, "11.22.33.1");
    return peer.receive(100ms).has_value();
}

} // namespace

std::string NatLab::enter() {
    if (::geteuid() != 0) {
        return "needs root, to build networks";
    }
    for (const char* program : {"ip", "nft", "sysctl", "turnserver"}) {
        if (!isInstalled(program)) {
            return std::string("needs ") + program;
        }
    }
    const std::string hindrance = enterSandbox();
    return hindrance.empty() ? takeRunForOurselves() : hindrance;
}

NatLab::NatLab(const std::string& kindA, const std::string& kindB, bool hasFirewall)
    : isBuilt_(
          shell("bash " LAB_SCRIPT " " + kindA + " " + kindB + (hasFirewall ? " firewall" : ""))) {
}

NatLab::~NatLab() {
    stunServer_.reset();
    for (const char* name : {"A", "natA", "B", "natB", "C", "inet"}) {
        shell(std::string("ip netns del ") + name);
    }
}

bool NatLab::startStunServer() {
    // Two addresses, so that it can answer from the other one.
    stunServer_ =
        std::make_unique<ChildProcess>(std::vector<std::string>{"ip",
                                                                "netns",
                                                                "exec",
                                                                "inet",
                                                                "turnserver",
                                                                "-n",
                                                                "--stun-only",
                                                                "-L",
                                                                "11.22.33.1",
                                                                "-L",
                                                                "11.22.33.2",
                                                                "-p",
                                                                "3478",
                                                                "--alt-listening-port=3479",
                                                                "--no-tcp",
                                                                "--no-tls",
                                                                "--no-dtls",
                                                                "--no-cli",
                                                                "--no-software-attribute",
                                                                "--log-file",
                                                                "/dev/null",
                                                                "--pidfile",
                                                                "/dev/null"});
    bool answers = false;
    runIn("C", [&answers] {
        UdpPeer peer("0.0.0.0");
        const auto deadline = std::chrono::steady_clock::now() + 15s;
        while (!answers && std::chrono::steady_clock::now() < deadline) {
            answers = answersStun(peer);
        }
    });
    return answers;
}

void NatLab::runIn(const std::string& name, const std::function<void()>& function) {
    std::jthread([&] {
        const FileDescriptor file(::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC));
        if (::setns(file.get(), CLONE_NEWNET) != 0) {
            std::abort(); // nothing may run outside of it
        }
        function();
    }).join();
}

} // namespace ovelo
