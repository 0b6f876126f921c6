#include "platform/AvahiLab.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr const char* kBusConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN" "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>system</type><listen>unix:path=FOLDER/bus</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/><allow send_type="method_call"/></policy></busconfig>
)";

constexpr const char* kDaemonConfiguration = R"([server]
host-name=ovelolab
allow-interfaces=lo
use-ipv4=yes
use-ipv6=no
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
)";

/// Its own network, in which only the loopback is up, and its own /run.
constexpr const char* kIsolation = "ip link set lo up && mount -t tmpfs tmpfs /run && exec "
                                   "avahi-daemon --no-drop-root --no-chroot --no-rlimits -f ";

bool isInstalled(const std::string& program) {
    for (const char* folder : {"/usr/bin/", "/usr/sbin/", "/bin/", "/sbin/"}) {
        if (::access((folder + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

/// True when the process ends by itself at once; it is then waited for.
bool endsSoon(pid_t pid) {
    for (int i = 0; i < 30; ++i) {
        if (::waitpid(pid, nullptr, WNOHANG) == pid) {
            return true;
        }
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

} // namespace

std::string AvahiLab::obstacle() {
    if (::geteuid() != 0) {
        return "needs root, to give the Avahi daemon a network of its own";
    }
    for (const char* program :
         {"avahi-daemon", "avahi-browse", "avahi-publish", "dbus-daemon", "unshare", "ip"}) {
        if (!isInstalled(program)) {
            return std::string("needs ") + program;
        }
    }
    if (::system("unshare -n -m true 2>/dev/null") != 0) {
        return "needs the right to make network namespaces";
    }
    return {};
}

AvahiLab::AvahiLab() {
    std::string name = (std::filesystem::temp_directory_path() / "ovelo-avahi-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("mkdtemp");
    }
    folder_ = name;
    std::string bus = kBusConfiguration;
    bus.replace(bus.find("FOLDER"), 6, name);
    write("bus.conf", bus);
    write("daemon.conf", kDaemonConfiguration);
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + name + "/bus").c_str(), 1);
}

AvahiLab::~AvahiLab() {
    stopForeign();
    stopDaemon();
    stopBus();
    std::filesystem::remove_all(folder_);
}

void AvahiLab::write(const char* name, const std::string& text) const {
    std::ofstream(folder_ / name) << text;
}

pid_t AvahiLab::spawn(const std::vector<std::string>& words) const {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str())); // posix_spawn does not change them
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files{};
    ::posix_spawn_file_actions_init(&files);
    const auto log = (folder_ / "log").string();
    ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, log.c_str(),
                                       O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid = 0;
    const int error =
        ::posix_spawnp(&pid, arguments[0], &files, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw std::runtime_error("posix_spawn " + words.front());
    }
    return pid;
}

void AvahiLab::end(pid_t& pid) {
    if (pid == 0) {
        return;
    }
    ::kill(pid, SIGCONT);
    ::kill(pid, SIGTERM);
    bool ended = false;
    for (int i = 0; i < 10 && !ended; ++i) {
        ended = endsSoon(pid);
    }
    if (!ended) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    pid = 0;
}

void AvahiLab::startBus() {
    std::filesystem::remove(folder_ / "bus");
    bus_ = spawn({"dbus-daemon", "--config-file=" + (folder_ / "bus.conf").string(), "--nofork",
                  "--nopidfile"});
    for (int i = 0; i < 500 && !std::filesystem::exists(folder_ / "bus"); ++i) {
        std::this_thread::sleep_for(10ms);
    }
}

void AvahiLab::startDaemon() {
    daemon_ =
        spawn({"unshare", "-n", "-m", "sh", "-c", kIsolation + (folder_ / "daemon.conf").string()});
}

void AvahiLab::freezeDaemon() const {
    ::kill(daemon_, SIGSTOP);
}

void AvahiLab::thawDaemon() const {
    ::kill(daemon_, SIGCONT);
}

std::string AvahiLab::browse(const std::string& type) const {
    std::string text;
    FILE* pipe = ::popen(("avahi-browse -rpt " + type + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        return text;
    }
    std::array<char, 4096> buffer{};
    for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        text.append(buffer.data(), count);
    }
    ::pclose(pipe);
    return text;
}

void AvahiLab::announceForeign(const std::string& name, const std::string& type, int port) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (std::chrono::steady_clock::now() < deadline) {
        foreign_ = spawn({"avahi-publish", "-s", name, type, std::to_string(port)});
        if (!endsSoon(foreign_)) {
            return;
        }
        foreign_ = 0; // the daemon is not up yet
    }
    throw std::runtime_error("avahi-publish does not find the daemon");
}

} // namespace ovelo
