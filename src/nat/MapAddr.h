#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace ovelo {

/// One public address of a UDP port: our own, or that of a peer that wants to connect.
class MapAddr final {
public:
    static constexpr std::int32_t kPeer = -1; // nat_type of a peer

    MapAddr(std::string srcAddr, std::string mappedAddr, std::int32_t mappedPort,
            std::int32_t nat_type)
        : srcAddr_(std::move(srcAddr))
        , mappedAddr_(std::move(mappedAddr))
        , mappedPort_(mappedPort)
        , nat_type_(nat_type) {}

    [[nodiscard]] const std::string& srcAddr() const { return srcAddr_; }
    [[nodiscard]] const std::string& mappedAddr() const { return mappedAddr_; } // dotted
    [[nodiscard]] std::int32_t mappedPort() const { return mappedPort_; }
    [[nodiscard]] std::int32_t nat_type() const { return nat_type_; } // a NatType, or kPeer

    friend bool operator==(const MapAddr&, const MapAddr&) = default;

private:
    std::string srcAddr_;
    std::string mappedAddr_;
    std::int32_t mappedPort_;
    std::int32_t nat_type_;
};

} // namespace ovelo
