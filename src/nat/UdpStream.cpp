#include "nat/UdpStream.h"

#include "platform/Console.h"
#include "platform/Polling.h"
#include "support/Logger.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>
#include <vector>

namespace ovelo {

namespace {

constexpr int kSocketBuffer = 30000;
constexpr int kProbeAttempts = 10;

sockaddr_in socketAddress(std::uint32_t ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ip;
    address.sin_port = port;
    return address;
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Counted as the viewers' platform does: a letter beyond the basic plane is two.
std::size_t characterCount(std::string_view text) {
    std::size_t count = 0;
    for (const char letter : text) {
        const auto byte = static_cast<std::uint8_t>(letter);
        const bool isContinuation = (byte & 0xC0U) == 0x80U;
        count += isContinuation ? 0 : (byte >= 0xF0U ? 2 : 1);
    }
    return count;
}

std::string framed(std::string_view text) {
    std::string line;
    line.append(UdpStream::kHeader).append(text).append(UdpStream::kTrailer);
    // Kept: as many bytes as the line has characters, so letters beyond ASCII cut its end off.
    line.resize(std::min(line.size(), characterCount(line)));
    return line;
}

void setOption(int fd, int name, int value) {
    ::setsockopt(fd, SOL_SOCKET, name, &value, sizeof value); // a refusal leaves it as it was
}

} // namespace

UdpStream::UdpStream(Logger& log) : UdpStream(log, Patience{}) {
}

UdpStream::UdpStream(Logger& log, const Patience& patience)
    : UdpStream(FileDescriptor(), log, patience) {
}

UdpStream::UdpStream(FileDescriptor socket, Logger& log, const Patience& patience)
    : sock_id_(std::move(socket))
    , queue_(log)
    , log_(log)
    , patience_(patience)
    , wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
}

UdpStream::~UdpStream() = default;

bool UdpStream::open(std::uint16_t port, bool reuseAddress) {
    FileDescriptor created(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!created) {
        log_.write("UDP socket creation failed\n");
        return false;
    }
    if (reuseAddress) {
        setOption(created.get(), SO_REUSEADDR, 1);
    }
    const sockaddr_in local = socketAddress(htonl(INADDR_ANY), htons(port));
    if (::bind(created.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        log_.write("UDP socket bind failed\n");
        return false;
    }
    setOption(created.get(), SO_SNDBUF, kSocketBuffer);
    setOption(created.get(), SO_RCVBUF, kSocketBuffer);
    sock_id_ = std::move(created);
    return true;
}

bool UdpStream::StartServer(std::uint16_t port) {
    return open(port, false);
}

bool UdpStream::StartP2P(std::uint16_t port, const std::string& peer_ip, int peer_port) {
    if (!open(port, true)) {
        return false;
    }
    in_addr ip{};
    if (::inet_pton(AF_INET, peer_ip.c_str(), &ip) != 1 || peer_port <= 0 ||
        peer_port > std::numeric_limits<std::uint16_t>::max()) {
        return false;
    }
    cli_name_ = Address{ip.s_addr, htons(static_cast<std::uint16_t>(peer_port)), 1};
    for (int attempt = 0; attempt < kProbeAttempts && !closed_; ++attempt) {
        if (probe()) {
            send(bytesOf(kProbe)); // opens the way for an answer that came from elsewhere
            return true;
        }
    }
    return false;
}

/// return  true when something was answered; what does not matter
bool UdpStream::probe() {
    send(bytesOf(kProbe));
    std::array<std::uint8_t, 80> answer{};
    std::size_t count = 0;
    const Received outcome = receive(answer, patience_.answer, count);
    if (outcome == Received::TimedOut) {
        log_.write("stream read timeout in StartP2P()\n");
    }
    return outcome == Received::Some;
}

bool UdpStream::ReadLine(std::string& result) {
    return ReadLine(result, 0);
}

bool UdpStream::ReadLine(std::string& result, int state) {
    LineQueue::Search search{state, 0};
    while (!queue_.takeLine(result, search)) {
        if (!queue_.resetOverflow(search) && !receiveMore()) {
            return false;
        }
    }
    return true;
}

bool UdpStream::receiveMore() {
    std::size_t count = 0;
    switch (receive(queue_.room(), patience_.read, count)) {
    case Received::Some:
        queue_.noteReceived(count);
        return true;
    case Received::TimedOut:
        log_.write("stream read timeout in ReadLine()\n");
        return false;
    default:
        log_.write("stream read error in ReadLine()\n");
        return false;
    }
}

bool UdpStream::ReadBlock(std::span<std::uint8_t> block) {
    return fill(block.subspan(queue_.takeBytes(block)));
}

/// Bytes of a datagram beyond the block are lost.
bool UdpStream::fill(std::span<std::uint8_t> rest) {
    while (!rest.empty()) {
        std::size_t count = 0;
        switch (receive(rest, patience_.read, count)) {
        case Received::Some:
            break;
        case Received::TimedOut:
            log_.write("stream read timeout in ReadLine()\n"); // sic
            return false;
        default:
            log_.write("stream read error in ReadBlock()\n");
            return false;
        }
        rest = rest.subspan(count);
    }
    return true;
}

/// Waits for one datagram of somebody who may be heard.
UdpStream::Received UdpStream::receive(std::span<std::uint8_t> buffer,
                                       std::chrono::milliseconds limit, std::size_t& count) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!closed_ && sock_id_) {
        if (!waitReadable(deadline)) {
            return closed_ ? Received::Nothing : Received::TimedOut;
        }
        const Received outcome = receiveOne(buffer, count);
        if (outcome != Received::NotForUs) {
            return outcome;
        }
    }
    return Received::Nothing;
}

bool UdpStream::waitReadable(std::chrono::steady_clock::time_point deadline) const {
    std::array<pollfd, 2> waiting{pollfd{sock_id_.get(), POLLIN, 0},
                                  pollfd{wake_.get(), POLLIN, 0}};
    const auto left = deadline - std::chrono::steady_clock::now();
    if (left <= left.zero()) {
        return false; // even if strangers keep a locked stream busy
    }
    pollFor(waiting, left);
    return waiting[0].revents != 0 && waiting[1].revents == 0;
}

UdpStream::Received UdpStream::receiveOne(std::span<std::uint8_t> buffer, std::size_t& count) {
    sockaddr_in from{};
    socklen_t size = sizeof from;
    const ssize_t received = ::recvfrom(sock_id_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT,
                                        reinterpret_cast<sockaddr*>(&from), &size);
    const int error = errno;
    if (received < 0) {
        // A damaged datagram looks readable until it is read.
        return error == EAGAIN || error == EINTR ? Received::NotForUs : Received::Nothing;
    }
    const Address sender{from.sin_addr.s_addr, from.sin_port, 1};
    if (isPeerLocked_ && sender != cli_name_.load()) {
        return Received::NotForUs;
    }
    cli_name_ = sender;
    count = static_cast<std::size_t>(received);
    return received > 0 ? Received::Some : Received::Nothing;
}

bool UdpStream::writeString(std::string_view text) {
    const std::string line = framed(text);
    const MutexLock lock(lock_);
    int error = send(bytesOf(line));
    while (error == EAGAIN && !closed_) {
        pauseBeforeRetry(error);
        error = send(bytesOf(line));
    }
    return error == 0;
}

bool UdpStream::tryWriteString(std::string_view text) {
    const std::string line = framed(text);
    const MutexLock lock(lock_);
    return send(bytesOf(line)) == 0;
}

bool UdpStream::writeData(std::span<const std::uint8_t> data) {
    std::vector<std::uint8_t> message;
    message.reserve(data.size() + kTrailer.size());
    message.assign(data.begin(), data.end());
    message.insert(message.end(), kTrailer.begin(), kTrailer.end());
    const MutexLock lock(lock_);
    std::size_t offset = 0;
    while (offset < message.size()) {
        const int error = sendNext(message, offset);
        if (error != 0 && (closed_ || !sock_id_)) {
            return false;
        }
        if (error != 0) {
            pauseBeforeRetry(error);
        }
    }
    return true;
}

std::size_t UdpStream::writeSome(std::span<const std::uint8_t> message, std::size_t offset) {
    const MutexLock lock(lock_);
    while (offset < message.size() && sendNext(message, offset) == 0) {
    }
    return offset;
}

/// Sends the block's next datagram, and moves on if the system took it. return: the error, or 0
int UdpStream::sendNext(std::span<const std::uint8_t> message, std::size_t& offset) const {
    const auto rest = message.subspan(offset);
    const auto datagram = rest.first(std::min(rest.size(), kMostDatagram));
    const int error = send(datagram);
    if (error == 0) {
        offset += datagram.size();
    } else if (error != EAGAIN) {
        console::write("The following error occurred: " + std::generic_category().message(error));
    }
    return error;
}

/// return  0 when the system took the datagram, EAGAIN when it has no room, else why not
int UdpStream::send(std::span<const std::uint8_t> datagram) const {
    const Address peer = cli_name_;
    const sockaddr_in to = socketAddress(peer.ip, peer.port);
    const ssize_t sent =
        ::sendto(sock_id_.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&to), sizeof to);
    const int error = errno;
    return sent < 0 ? error : 0;
}

/// Waits for room or, when room is not what is missing, a moment: a send that keeps failing must
/// not keep a core busy. Ends at once when the stream is closed.
void UdpStream::pauseBeforeRetry(int error) const {
    std::array<pollfd, 2> waiting{pollfd{wake_.get(), POLLIN, 0},
                                  pollfd{error == EAGAIN ? sock_id_.get() : -1, POLLOUT, 0}};
    pollFor(waiting, patience_.retry);
}

std::string UdpStream::GetClient() const {
    const Address peer = cli_name_;
    std::array<char, INET_ADDRSTRLEN> text{};
    const in_addr ip{peer.ip};
    if (peer.isSet == 0 || ::inet_ntop(AF_INET, &ip, text.data(), text.size()) == nullptr) {
        return {};
    }
    return text.data();
}

void UdpStream::close() {
    closed_ = true;
    ::eventfd_write(wake_.get(), 1);
}

std::uint16_t UdpStream::localPort() const {
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (::getsockname(sock_id_.get(), reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        return 0;
    }
    return ntohs(local.sin_port);
}

} // namespace ovelo
