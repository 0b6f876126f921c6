#include "server/AbstractSocket.h"

#include "platform/FileDescriptor.h"
#include "server/SocketException.h"
#include "support/Logger.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/sockios.h>
#include <netdb.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <mutex>

namespace ovelo {

namespace {

using AddressList = CHandle<addrinfo, &::freeaddrinfo>;

[[noreturn]] void fail(const char* name) {
    const int error = errno;
    throw SocketException::fromSystem(name, error);
}

sockaddr_in socketAddress(in_addr_t networkOrderAddress, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = networkOrderAddress;
    address.sin_port = htons(port);
    return address;
}

const sockaddr* generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

in_addr_t resolve(const std::string& hostName) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* first = nullptr;
    if (::getaddrinfo(hostName.c_str(), nullptr, &hints, &first) != 0 || first == nullptr) {
        // Kept: the text is that of the system error, not the resolver's.
        fail("Socket: Host not found");
    }
    const AddressList list(first);
    return reinterpret_cast<const sockaddr_in*>(first->ai_addr)->sin_addr.s_addr;
}

} // namespace

AbstractSocket::AbstractSocket(Logger& log) : log_(log) {
    FileDescriptor created(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!created) {
        fail("Socket: Can't create socket");
    }
    allocReadBuffer();
    socketfd_ = created.release();
}

AbstractSocket::AbstractSocket(int fd, const sockaddr_in& remoteAddress, Logger& log)
    : connected_(true)
    , remoteHostName_(dottedIPFromAddress(remoteAddress.sin_addr))
    ,
    // Kept: network byte order here, host byte order after connectToHostName().
    remotePort_(remoteAddress.sin_port)
    , socketfd_(fd)
    , log_(log) {
    allocReadBuffer();
}

AbstractSocket::~AbstractSocket() {
    close();
}

void AbstractSocket::allocReadBuffer() {
    if (readBuffer_) {
        return;
    }
    readBuffer_.reset(static_cast<std::uint8_t*>(std::malloc(readBufferSize_)));
    if (!readBuffer_) {
        throw SocketException("Socket: Malloc failed");
    }
}

void AbstractSocket::setReadBufferSize(std::uint32_t size) {
    readBufferSize_ = size;
    readBuffer_.reset();
    allocReadBuffer();
}

std::string AbstractSocket::remoteHostName() const {
    const std::shared_lock lifetime(lifetime_);
    return remoteHostName_;
}

void AbstractSocket::shutdown() const {
    const std::shared_lock lifetime(lifetime_);
    if (socketfd_ >= 0) {
        ::shutdown(socketfd_, SHUT_RDWR);
    }
}

void AbstractSocket::close() {
    shutdown(); // those who wait in here leave, and with them their shares of lifetime_
    const std::unique_lock lifetime(lifetime_);
    const int fd = socketfd_.exchange(-1);
    if (fd >= 0) {
        ::close(fd);
    }
    remoteHostName_.clear();
    connected_ = false;
    listening_ = false;
    remotePort_ = 0;
}

int AbstractSocket::checkedDescriptor() const {
    const int fd = socketfd_;
    if (fd < 0) {
        throw SocketException("Socket: Bad socket descriptor");
    }
    return fd;
}

void AbstractSocket::checkConnected() const {
    checkedDescriptor();
    if (!connected_) {
        throw SocketException("Socket: Not connected");
    }
}

bool AbstractSocket::setOption(int level, int name, int value) const {
    return ::setsockopt(socketfd_, level, name, &value, sizeof value) == 0;
}

void AbstractSocket::bindTo(std::uint32_t address, std::uint16_t port) {
    const std::shared_lock lifetime(lifetime_);
    if (!setOption(SOL_SOCKET, SO_REUSEADDR, 1)) {
        fail("Socket: Setsockopt failed");
    }
    const sockaddr_in local = socketAddress(htonl(address), port);
    if (::bind(socketfd_, generic(local), sizeof local) < 0) {
        fail("Socket: Bind failed");
    }
}

void AbstractSocket::listenOnPort(std::uint16_t port) {
    listenOnPort(port, kPendingConnections);
}

void AbstractSocket::listenOnPort(std::uint16_t port, int maxPendingConnections) {
    bindTo(INADDR_ANY, port);
    const std::shared_lock lifetime(lifetime_);
    if (::listen(socketfd_, maxPendingConnections) < 0) {
        fail("Socket: Listen failed");
    }
    listening_ = true;
}

int AbstractSocket::acceptDescriptor(sockaddr_in& remoteAddress) const {
    const std::shared_lock lifetime(lifetime_);
    const int fd = checkedDescriptor();
    if (connected_) {
        throw SocketException("Socket: Already connected");
    }
    if (!listening_) {
        throw SocketException("Socket: Not listening");
    }
    socklen_t length = sizeof remoteAddress;
    const int accepted =
        ::accept4(fd, reinterpret_cast<sockaddr*>(&remoteAddress), &length, SOCK_CLOEXEC);
    if (accepted < 0) {
        fail("Socket: Accept failed");
    }
    return accepted;
}

void AbstractSocket::acceptConnection() {
    sockaddr_in remote{};
    const int accepted = acceptDescriptor(remote);
    close();
    const std::unique_lock lifetime(lifetime_);
    remotePort_ = remote.sin_port; // Kept: network byte order.
    remoteHostName_ = dottedIPFromAddress(remote.sin_addr);
    socketfd_ = accepted;
    connected_ = true;
    listening_ = false;
}

void AbstractSocket::connectToHostName(const std::string& hostName, std::uint16_t port) {
    {
        const std::shared_lock lifetime(lifetime_);
        const int fd = checkedDescriptor();
        if (connected_) {
            throw SocketException("Socket: Already connected");
        }
        const sockaddr_in remote = socketAddress(resolve(hostName), port);
        if (::connect(fd, generic(remote), sizeof remote) < 0) {
            fail("Socket: Connect failed");
        }
    }
    const std::unique_lock lifetime(lifetime_);
    remoteHostName_ = hostName;
    remotePort_ = port;
    connected_ = true;
}

void AbstractSocket::setBlocking(bool blocking) {
    const std::shared_lock lifetime(lifetime_);
    const int flags = ::fcntl(socketfd_, F_GETFL);
    if (flags < 0) {
        fail("Socket: Fcntl failed");
    }
    const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    if (::fcntl(socketfd_, F_SETFL, wanted) < 0) {
        fail("Socket: Fcntl failed");
    }
}

bool AbstractSocket::poll(short events, std::chrono::milliseconds limit) const {
    const std::shared_lock lifetime(lifetime_);
    checkConnected();
    pollfd polled{socketfd_, events, 0};
    const int ready = ::poll(&polled, 1, static_cast<int>(limit.count()));
    if (ready < 0 && errno != EINTR) {
        fail("Socket: Select failed");
    }
    return ready == 1;
}

bool AbstractSocket::isReadable() const {
    return poll(POLLIN, std::chrono::milliseconds(0));
}

bool AbstractSocket::isWritable() const {
    return poll(POLLOUT, std::chrono::milliseconds(0));
}

bool AbstractSocket::waitWritable(std::chrono::milliseconds limit) const {
    return poll(POLLOUT, limit);
}

std::int32_t AbstractSocket::readData(Bytes* buffer) {
    if (buffer == nullptr) {
        throw SocketException("Socket: Invalid buffer");
    }
    {
        const std::shared_lock lifetime(lifetime_);
        checkConnected();
        ssize_t received = -1;
        do {
            received = ::recv(socketfd_, readBuffer_.get(), readBufferSize_, 0);
        } while (received < 0 && errno == EINTR);
        if (received > 0) {
            buffer->insert(buffer->end(), readBuffer_.get(), readBuffer_.get() + received);
            return static_cast<std::int32_t>(received);
        }
        if (received < 0 && errno == EAGAIN) {
            return 0;
        }
        if (received < 0) {
            fail("Socket: Recv failed");
        }
    }
    close();
    return 0;
}

void AbstractSocket::writeData(std::span<const std::uint8_t> data) {
    const MutexLock writing(writeLock_);
    const std::shared_lock lifetime(lifetime_);
    checkConnected();
    while (!data.empty()) {
        // MSG_NOSIGNAL: a peer that is gone is an error, never a signal.
        const ssize_t sent = ::send(socketfd_, data.data(), data.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0) {
            fail("Socket: Send failed");
        }
        data = data.subspan(static_cast<std::size_t>(sent));
    }
}

void AbstractSocket::logText(std::string_view text) const {
    log_.write(fmt::format("writeString <{}>\n", text));
}

void AbstractSocket::writeString(std::string_view text) {
    logText(text);
    if (text.empty()) {
        return;
    }
    writeData({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

std::size_t AbstractSocket::writeSome(std::span<const iovec> parts) {
    const MutexLock writing(writeLock_);
    const std::shared_lock lifetime(lifetime_);
    checkConnected();
    msghdr message{};
    message.msg_iov = const_cast<iovec*>(parts.data()); // the system only reads it
    message.msg_iovlen = parts.size();
    const ssize_t sent = ::sendmsg(socketfd_, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
        return static_cast<std::size_t>(sent);
    }
    if (errno == EAGAIN || errno == EINTR) {
        return 0;
    }
    fail("Socket: Send failed");
}

std::size_t AbstractSocket::unacknowledged() const {
    const std::shared_lock lifetime(lifetime_);
    int bytes = 0;
    const int fd = socketfd_;
    return fd >= 0 && ::ioctl(fd, SIOCOUTQ, &bytes) == 0 ? static_cast<std::size_t>(bytes) : 0;
}

std::uint16_t AbstractSocket::localPort() const {
    const std::shared_lock lifetime(lifetime_);
    sockaddr_in local{};
    socklen_t length = sizeof local;
    const int result = ::getsockname(socketfd_, reinterpret_cast<sockaddr*>(&local), &length);
    return result == 0 ? ntohs(local.sin_port) : std::uint16_t{0};
}

std::string AbstractSocket::dottedIPFromAddress(const in_addr& address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

} // namespace ovelo
