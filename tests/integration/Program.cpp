#include "integration/Program.h"

#include "fakes/Eventually.h"
#include "platform/FileDescriptor.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace ovelo {

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// Looks without connecting: a viewer that goes away ends recordings and playbacks.
bool isListening(std::uint16_t port) {
    std::ostringstream wanted;
    wanted << ':' << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << port
           << " 00000000:0000 0A "; // RFC 793's LISTEN, as the kernel numbers it
    return readFile("/proc/self/net/tcp").find(wanted.str()) != std::string::npos;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (auto& text : texts) {
        list.push_back(text.data());
    }
    list.push_back(nullptr);
    return list;
}

std::string inherited(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : std::string(name) + "=" + value;
}

} // namespace

std::uint16_t freePort() {
    const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), length);
    ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

Program::Program() : port_(freePort()) {
    std::filesystem::create_directories(settingsFile().parent_path());
    std::filesystem::create_directories(home() / "tmp");
    setting("[General]");
    setting("log_events=true");
}

Program::~Program() {
    if (isRunning()) {
        signal(SIGKILL);
        waitForExit(std::chrono::seconds(5));
    }
}

std::filesystem::path Program::settingsFile() const {
    return home() / "config" / "Ovelo" / "Ovelo.ini";
}

void Program::setting(const std::string& line) {
    std::ofstream(settingsFile(), std::ios::app) << line << '\n';
}

void Program::variable(const std::string& assignment) {
    variables_.push_back(assignment);
}

std::vector<std::string> Program::environment() const {
    std::vector<std::string> texts = {"HOME=" + home().string(),
                                      "XDG_CONFIG_HOME=" + (home() / "config").string(),
                                      "XDG_RUNTIME_DIR=" + (home() / "tmp").string(),
                                      "TMPDIR=" + (home() / "tmp").string(),
                                      "LC_ALL=C.UTF-8",
                                      "PATH=/usr/sbin:/usr/bin:/sbin:/bin"};
    for (const char* name : {"GST_REGISTRY", "DBUS_SYSTEM_BUS_ADDRESS", "ASAN_OPTIONS",
                             "LSAN_OPTIONS", "UBSAN_OPTIONS"}) {
        const bool isSet =
            std::any_of(variables_.begin(), variables_.end(), [&](const auto& variable) {
                return variable.starts_with(std::string(name) + "=");
            });
        if (const std::string text = inherited(name); !text.empty() && !isSet) {
            texts.push_back(text);
        }
    }
    texts.insert(texts.end(), variables_.begin(), variables_.end());
    return texts;
}

void Program::start() {
    if (stored("email").empty()) {
        setting("email=test@example.org");
    }
    if (stored("port").empty()) {
        setting("port=" + std::to_string(port_));
    } else {
        port_ = static_cast<std::uint16_t>(std::stoi(stored("port")));
    }
    spawn();
}

void Program::start(const std::string& settings) {
    writeFile(settingsFile(), settings);
    spawn();
}

void Program::spawn() {
    std::vector<std::string> arguments = {OVELO_PROGRAM};
    std::vector<std::string> variables = environment();
    posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    const std::string output = home() / "output";
    ::posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                       0600);
    ::posix_spawn_file_actions_adddup2(&actions, 1, 2);
    const int failure = ::posix_spawn(&pid_, OVELO_PROGRAM, &actions, nullptr,
                                      pointers(arguments).data(), pointers(variables).data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        throw std::runtime_error("cannot start " OVELO_PROGRAM);
    }
    status_.reset();
}

bool Program::waitUntilListening(std::chrono::milliseconds limit) {
    return eventually([this] { return !isRunning() || isListening(port_); }, limit) && isRunning();
}

void Program::signal(int number) const {
    ::kill(pid_, number);
}

bool Program::isRunning() {
    return pid_ > 0 && !waitForExit(std::chrono::milliseconds(0));
}

std::optional<int> Program::waitForExit(std::chrono::milliseconds limit) {
    eventually(
        [this] {
            int status = 0;
            if (!status_ && ::waitpid(pid_, &status, WNOHANG) == pid_) {
                status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
            }
            return status_.has_value();
        },
        limit);
    return status_;
}

std::optional<int> Program::terminate() {
    signal(SIGTERM);
    return waitForExit(std::chrono::seconds(3));
}

std::string Program::output() const {
    return readFile(home() / "output");
}

std::string Program::log() const {
    return readFile(home() / "Documents" / "ovelo.log");
}

std::string Program::stored(const std::string& key) const {
    std::istringstream file(readFile(settingsFile()));
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key + "=")) {
            return line.substr(key.size() + 1);
        }
    }
    return "";
}

} // namespace ovelo
