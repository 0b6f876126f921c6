#pragma once

#include "platform/FileDescriptor.h"
#include "platform/HostLookup.h"
#include "viewer/ViewerConnection.h"

namespace ovelo {

/// One TCP connection over IPv4 to a server.
class TcpConnection final : public ViewerConnection {
public:
    [[nodiscard]] std::optional<Failure> connect(const std::string& host, std::uint16_t port,
                                                 std::chrono::milliseconds timeout,
                                                 int wakeFd) override;
    [[nodiscard]] Result<std::span<const std::uint8_t>>
    read(std::span<std::uint8_t> buffer) override;
    [[nodiscard]] Result<std::size_t> write(std::string_view lines) override;
    void close() override { socket_.reset(); }
    [[nodiscard]] int fd() const override { return socket_.get(); }
    [[nodiscard]] bool isLossy() const override { return false; }

private:
    std::optional<Failure> open(Ipv4Address address, std::uint16_t port,
                                std::chrono::milliseconds timeout, int wakeFd);

    FileDescriptor socket_;
};

} // namespace ovelo
