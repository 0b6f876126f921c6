#pragma once

#include "platform/Router.h"
#include "platform/TCMPortMapper.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// What is known about the router and its mappings.
struct RouterOutcome {
    std::vector<TCMPortMapping> mappings;
    std::string externalAddress;
    PortMapperTrouble trouble = PortMapperTrouble::NotAsked;

    friend bool operator==(const RouterOutcome&, const RouterOutcome&) = default;
};

/// What a port mapper is asked to do.
struct RouterOrder {
    bool refresh = false;
    std::vector<TCMPortMapping> added = {};
    std::vector<TCMPortMapping> kept = {};
};

/// A port mapper's work on its router: finds it, and has it hold the mappings that are wanted.
///
/// thread  one worker's; everything waits
class RouterWork final {
public:
    using Find = std::function<RouterSearch(const RouterLimit&)>;

    /// lease  for which mappings are asked; they are renewed when half of it is over
    RouterWork(Find find, std::chrono::seconds lease);

    RouterOutcome carryOut(const RouterOrder& order, const RouterLimit& limit);

    /// Takes mappings over that an earlier run of the program has left. return: whether there are any
    bool adopt(const std::vector<TCMPortMapping>& left);

    /// Removes what we have made, as far as the time allows.
    void removeAll(const RouterLimit& limit);

    [[nodiscard]] bool hasMappings() const { return !own_.empty(); }

private:
    using Steady = std::chrono::steady_clock;

    /// A mapping that is wanted.
    struct Own {
        std::uint16_t localPort = 0;
        std::uint16_t externalPort = 0;
        std::string client; // this computer's address when it was made
        bool isMapped = false;
        bool wasMapped = false; // ever
        bool mayExist = false;  // the router was asked to make it
        Steady::time_point renewed;
    };

    void look(const RouterLimit& limit);
    void add(const TCMPortMapping& mapping, const RouterLimit& limit);
    void ensure(Own& own, const RouterLimit& limit);
    void map(Own& own, const RouterLimit& limit);
    void noteTrouble(PortMapperTrouble trouble);
    void leaveOldAddress(Own& own, const RouterLimit& limit);
    [[nodiscard]] bool isFresh(const Own& own, const RouterEntry& entry) const;
    [[nodiscard]] const RouterEntry* entryOf(std::uint16_t externalPort) const;
    [[nodiscard]] bool leadsHere(const RouterEntry& entry, std::uint16_t localPort) const;
    [[nodiscard]] RouterOutcome outcome() const;

    const Find find_;
    const std::chrono::seconds lease_;
    std::unique_ptr<Router> router_; // the last that was found; null: none ever
    bool isPresent_ = false;         // it answered at the last look
    std::vector<RouterEntry> table_;
    std::vector<std::uint16_t> taken_; // not in the table, but refused as taken
    std::vector<Own> own_;
    std::string externalAddress_;
    PortMapperTrouble trouble_ = PortMapperTrouble::NotAsked;
};

} // namespace ovelo
