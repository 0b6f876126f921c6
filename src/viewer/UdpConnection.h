#pragma once

#include "platform/FileDescriptor.h"
#include "platform/HostLookup.h"
#include "viewer/DatagramGatherer.h"
#include "viewer/ViewerConnection.h"

#include <atomic>
#include <vector>

namespace ovelo {

/// The way to a server in datagrams, through the routers of both sides: connecting means to send
/// probes until the server's own, or anything of it, comes through.
///
/// The server is whoever answers, from whatever port, until its first line has come; from then on
/// nobody else is heard.
class UdpConnection final : public ViewerConnection {
public:
    static constexpr std::chrono::milliseconds kProbePeriod{500};

    /// localPort  what the server was told to be ours; 0: any
    UdpConnection(std::uint16_t localPort, DatagramGatherer::PictureCheck isWholePicture);

    [[nodiscard]] std::optional<Failure> connect(const std::string& host, std::uint16_t port,
                                                 std::chrono::milliseconds timeout,
                                                 int wakeFd) override;
    [[nodiscard]] Result<std::span<const std::uint8_t>>
    read(std::span<std::uint8_t> buffer) override;
    [[nodiscard]] Result<std::size_t> write(std::string_view lines) override;
    void close() override { socket_.reset(); }
    [[nodiscard]] int fd() const override { return socket_.get(); }
    [[nodiscard]] bool isLossy() const override { return true; }

    /// The local port; 0 when not open.
    [[nodiscard]] std::uint16_t localPort() const;

private:
    /// An IPv4 address and port in network byte order; small enough to be read and written whole.
    struct Address {
        std::uint32_t ip = 0;
        std::uint16_t port = 0;
        std::uint16_t unused = 0;

        friend bool operator==(const Address&, const Address&) = default;
    };
    using Clock = std::chrono::steady_clock;

    std::optional<Failure> open();
    std::optional<Failure> punch(Clock::time_point deadline, int wakeFd);
    bool adoptSender();
    bool send(std::string_view datagram) const;
    std::span<const std::uint8_t> receiveOne(std::span<std::uint8_t> buffer, bool& isEmpty);

    const std::uint16_t localPort_;
    FileDescriptor socket_;
    std::atomic<Address> server_{Address{}}; // the reader writes it, writers read it
    bool isServerKnown_ = false;             // it has sent a line
    DatagramGatherer gatherer_;
};

} // namespace ovelo
