#include "platform/GstSoundServer.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cstdlib>

namespace ovelo {

namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace

std::vector<std::string> soundServerSockets() {
    std::vector<std::string> sockets = {"/run/pulse/native"}; // one server for all users
    const std::string server = variable("PULSE_SERVER");
    if (server.starts_with("unix:")) {
        sockets.push_back(server.substr(5));
    } else if (server.starts_with("/")) {
        sockets.push_back(server);
    }
    if (const std::string folder = variable("PULSE_RUNTIME_PATH"); !folder.empty()) {
        sockets.push_back(folder + "/native");
    }
    if (const std::string folder = variable("XDG_RUNTIME_DIR"); !folder.empty()) {
        sockets.push_back(folder + "/pulse/native");
        sockets.push_back(folder + "/pipewire-0");
    }
    return sockets;
}

std::string soundServerState(const std::vector<std::string>& sockets) {
    std::string state;
    for (const auto& path : sockets) {
        struct stat found {};
        if (::stat(path.c_str(), &found) == 0) {
            state +=
                fmt::format("{}:{}.{};", found.st_ino, found.st_ctim.tv_sec, found.st_ctim.tv_nsec);
        } else {
            state += "none;";
        }
    }
    return state;
}

} // namespace ovelo
