#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// How long work on a router may take, and what ends it early.
struct RouterLimit {
    using Steady = std::chrono::steady_clock;

    Steady::time_point until;
    int wakeFd = -1; // readable: no more waiting

    /// The same with a nearer end.
    [[nodiscard]] RouterLimit within(std::chrono::milliseconds time) const {
        return {std::min(until, Steady::now() + time), wakeFd};
    }
    /// Never below 0.
    [[nodiscard]] std::chrono::milliseconds left() const {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - Steady::now());
        return std::max(left, std::chrono::milliseconds(0));
    }
};

/// How a router answers.
enum class RouterAnswer {
    Done,
    Refused,
    Taken,        // the external port leads to somebody else
    NotConnected, // the router has no way to the internet
    Silent,       // or nonsense, or no more time
};

/// One TCP entry of a router's table.
struct RouterEntry {
    std::uint16_t externalPort = 0;
    std::uint16_t internalPort = 0;
    std::string client; // where it leads, dotted
    std::string description;
    std::chrono::seconds lease{0}; // what is left of it; 0: for ever
    bool isEnabled = true;
};

/// A home router that forwards ports on request. What it answers is believed, but bounded.
///
/// thread  a worker's; every call waits, within its limit
class Router {
public:
    Router() = default;
    virtual ~Router() = default;
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;

    /// The router's address on the internet.
    ///
    /// address  out: dotted; "" when it tells none
    virtual RouterAnswer readAddress(std::string& address, const RouterLimit& limit) = 0;

    /// The table, at most kMostEntries of it; nothing when this kind of router does not tell one.
    virtual std::optional<std::vector<RouterEntry>> readTable(const RouterLimit& limit) = 0;

    /// Forwards a TCP port to this computer, or renews that.
    ///
    /// externalPort  in: the desired one; out: the one that the router has chosen
    virtual RouterAnswer map(std::uint16_t localPort, std::uint16_t& externalPort,
                             std::chrono::seconds lease, const RouterLimit& limit) = 0;

    virtual RouterAnswer unmap(std::uint16_t localPort, std::uint16_t externalPort,
                               const RouterLimit& limit) = 0;

    /// This computer's address as the router sees it, dotted; "" when that is not known.
    [[nodiscard]] virtual std::string localAddress() const = 0;

    static constexpr std::size_t kMostEntries = 512;
    static constexpr const char* kDescription = "Ovelo (automatic)"; // of our entries
};

/// What a search for a router ends with.
struct RouterSearch {
    std::unique_ptr<Router> router; // null: none
    bool hasNetwork = true;
};

} // namespace ovelo
