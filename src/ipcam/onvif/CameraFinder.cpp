#include "ipcam/onvif/CameraFinder.h"

#include "platform/FileDescriptor.h"
#include "platform/HostAddresses.h"
#include "platform/Polling.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

constexpr auto kLook = 100ms; // between two looks at the stop token
constexpr std::size_t kMostBytes = 65'536;

std::string uuid() {
    std::random_device source;
    std::array<std::uint32_t, 4> words{};
    std::generate(words.begin(), words.end(), std::ref(source));
    // Version 4, variant 1 of RFC 4122.
    return fmt::format("{:08x}-{:04x}-4{:03x}-{:04x}-{:04x}{:08x}", words[0], words[1] >> 16U,
                       words[1] & 0xFFFU, 0x8000U | (words[2] & 0x3FFFU), words[2] >> 16U,
                       words[3]);
}

FileDescriptor openSocket(const std::string& interface) {
    FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    in_addr address{};
    if (socket && ::inet_pton(AF_INET, interface.c_str(), &address) == 1) {
        ::setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_IF, &address, sizeof address);
    }
    return socket;
}

/// One search, and what it has found so far.
class Search {
public:
    explicit Search(CameraFinder::Options options) : options_(std::move(options)) {}

    std::optional<Failure> begin() {
        to_.sin_family = AF_INET;
        to_.sin_port = htons(options_.port);
        if (::inet_pton(AF_INET, options_.address.c_str(), &to_.sin_addr) != 1) {
            return Failure{"not an IPv4 address: " + options_.address};
        }
        openSockets();
        return ask();
    }

    /// Sends the question. return: why nobody has got it
    std::optional<Failure> ask() {
        const std::string question = discovery::probe(id_);
        int error = ENETUNREACH;
        bool isSent = false;
        for (const FileDescriptor& socket : sockets_) {
            const ssize_t sent =
                ::sendto(socket.get(), question.data(), question.size(), MSG_NOSIGNAL,
                         reinterpret_cast<const sockaddr*>(&to_), sizeof to_);
            error = sent < 0 ? errno : error;
            isSent = isSent || sent == static_cast<ssize_t>(question.size());
        }
        return isSent ? std::nullopt
                      : std::optional(Failure{options_.address + ": " + std::strerror(error)});
    }

    void gather(Steady::time_point until, const std::stop_token& stop) {
        while (!stop.stop_requested() && Steady::now() < until) {
            std::vector<pollfd> waiting;
            for (const FileDescriptor& socket : sockets_) {
                waiting.push_back({socket.get(), POLLIN, 0});
            }
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(until - Steady::now());
            pollFor(waiting, std::clamp<std::chrono::milliseconds>(left, 1ms, kLook));
            for (const pollfd& ready : waiting) {
                if (ready.revents != 0) {
                    take(ready.fd);
                }
            }
        }
    }

    std::vector<FoundCamera> found() && { return std::move(found_); }

private:
    void openSockets() {
        if (!IN_MULTICAST(ntohl(to_.sin_addr.s_addr))) {
            sockets_.push_back(openSocket(""));
            return;
        }
        for (const std::string& address : hostAddresses()) {
            if (address.find(':') == std::string::npos) {
                sockets_.push_back(openSocket(address));
            }
        }
    }

    void take(int socket) {
        const ssize_t size = ::recv(socket, buffer_.data(), buffer_.size(), 0);
        if (size <= 0) {
            return;
        }
        const std::string_view text(buffer_.data(), static_cast<std::size_t>(size));
        for (FoundCamera& camera : discovery::probeMatches(text, id_)) {
            const bool isKnown =
                std::any_of(found_.begin(), found_.end(), [&](const FoundCamera& known) {
                    return known.addresses == camera.addresses;
                });
            if (!isKnown && found_.size() < CameraFinder::kMostCameras) {
                found_.push_back(std::move(camera));
            }
        }
    }

    const CameraFinder::Options options_;
    const std::string id_ = uuid();
    sockaddr_in to_{};
    std::vector<FileDescriptor> sockets_;
    std::vector<FoundCamera> found_;
    std::vector<char> buffer_ = std::vector<char>(kMostBytes);
};

} // namespace

Result<std::vector<FoundCamera>> CameraFinder::find(const Options& options,
                                                    const std::stop_token& stop) {
    Search search(options);
    if (const auto failure = search.begin()) {
        return *failure;
    }
    const auto begin = Steady::now();
    search.gather(begin + options.duration / 3, stop);
    // Again, for a datagram may get lost; one that cannot be sent any more changes nothing.
    static_cast<void>(search.ask());
    search.gather(begin + options.duration, stop);
    return std::move(search).found();
}

} // namespace ovelo
