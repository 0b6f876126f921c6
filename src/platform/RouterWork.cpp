#include "platform/RouterWork.h"

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

using Status = TCMPortMapping::Status;

PortMapperTrouble troubleOf(RouterAnswer answer) {
    switch (answer) {
    case RouterAnswer::Done:
        return PortMapperTrouble::None;
    case RouterAnswer::Refused:
    case RouterAnswer::Taken:
        return PortMapperTrouble::Refused;
    case RouterAnswer::NotConnected:
        return PortMapperTrouble::NotConnected;
    case RouterAnswer::Silent:
        break;
    }
    return PortMapperTrouble::NotTalking;
}

} // namespace

RouterWork::RouterWork(Find find, std::chrono::seconds lease)
    : find_(std::move(find))
    , lease_(lease) {
}

RouterOutcome RouterWork::carryOut(const RouterOrder& order, const RouterLimit& limit) {
    const bool hasAdopted = adopt(order.kept);
    if (order.refresh) {
        look(limit);
    }
    for (const TCMPortMapping& mapping : order.added) {
        add(mapping, limit);
    }
    if (order.refresh || hasAdopted || !order.added.empty()) {
        for (Own& own : own_) {
            ensure(own, limit);
        }
    }
    // What could never be made is a wish of one run only; the next one has its own.
    RouterOutcome result = outcome();
    std::erase_if(own_, [](const Own& own) { return !own.wasMapped && !own.mayExist; });
    return result;
}

/// Finds out where the router is and what it holds.
void RouterWork::look(const RouterLimit& limit) {
    table_.clear();
    externalAddress_.clear();
    RouterAnswer answer = RouterAnswer::Silent;
    if (router_) {
        answer = router_->readAddress(externalAddress_, limit);
    }
    isPresent_ = answer != RouterAnswer::Silent;
    if (!isPresent_) { // gone, or it came back with another address
        RouterSearch found = find_(limit);
        if (!found.router) {
            trouble_ =
                found.hasNetwork ? PortMapperTrouble::NoRouter : PortMapperTrouble::NoNetwork;
            return;
        }
        isPresent_ = true;
        router_ = std::move(found.router);
        taken_.clear();
        answer = router_->readAddress(externalAddress_, limit);
    }
    trouble_ = answer == RouterAnswer::Refused ? PortMapperTrouble::None : troubleOf(answer);
    if (auto table = router_->readTable(limit)) {
        table_ = std::move(*table);
    }
}

void RouterWork::add(const TCMPortMapping& mapping, const RouterLimit& limit) {
    const auto same = std::find_if(own_.begin(), own_.end(), [&](const Own& own) {
        return own.localPort == mapping.localPort;
    });
    if (same != own_.end()) {
        if (same->externalPort == mapping.externalPort) {
            return;
        }
        if (isPresent_ && same->mayExist) {
            router_->unmap(same->localPort, same->externalPort, limit);
        }
        own_.erase(same);
    }
    Own own;
    own.localPort = mapping.localPort;
    own.externalPort = mapping.externalPort;
    own_.push_back(std::move(own));
}

bool RouterWork::adopt(const std::vector<TCMPortMapping>& left) {
    bool hasAdopted = false;
    for (const TCMPortMapping& mapping : left) {
        const RouterEntry* entry = entryOf(mapping.externalPort);
        const bool isOwn = std::any_of(own_.begin(), own_.end(), [&](const Own& own) {
            return own.localPort == mapping.localPort;
        });
        if (entry == nullptr || isOwn || !leadsHere(*entry, mapping.localPort) ||
            entry->description != Router::kDescription) {
            continue;
        }
        // Renewed at once, as it was made nobody knows when.
        own_.push_back({mapping.localPort, mapping.externalPort, entry->client, true, true, true,
                        Steady::now() - lease_});
        hasAdopted = true;
    }
    return hasAdopted;
}

void RouterWork::ensure(Own& own, const RouterLimit& limit) {
    own.isMapped = false;
    if (!isPresent_) {
        return;
    }
    leaveOldAddress(own, limit);
    const RouterEntry* entry = entryOf(own.externalPort);
    if (entry == nullptr || leadsHere(*entry, own.localPort)) {
        if (entry != nullptr && isFresh(own, *entry)) {
            own.isMapped = true;
        } else {
            map(own, limit);
        }
        return;
    }
    noteTrouble(PortMapperTrouble::Refused); // the port is somebody else's by now
    own.mayExist = false;
}

void RouterWork::map(Own& own, const RouterLimit& limit) {
    const bool existed = std::exchange(own.mayExist, true); // even when its answer gets lost
    const RouterAnswer answer = router_->map(own.localPort, own.externalPort, lease_, limit);
    if (answer == RouterAnswer::Done) {
        own.isMapped = true;
        own.wasMapped = true;
        own.client = router_->localAddress();
        own.renewed = Steady::now();
        return;
    }
    noteTrouble(troubleOf(answer));
    own.mayExist = existed || answer == RouterAnswer::Silent;
    if (answer == RouterAnswer::Taken &&
        std::find(taken_.begin(), taken_.end(), own.externalPort) == taken_.end()) {
        taken_.push_back(own.externalPort);
    }
}

/// What was found first is the reason of the rest.
void RouterWork::noteTrouble(PortMapperTrouble trouble) {
    if (trouble_ == PortMapperTrouble::None) {
        trouble_ = trouble;
    }
}

/// This computer's address may have changed since; then the entry leads to nobody.
void RouterWork::leaveOldAddress(Own& own, const RouterLimit& limit) {
    if (!own.mayExist || own.client.empty() || own.client == router_->localAddress()) {
        return;
    }
    if (router_->unmap(own.localPort, own.externalPort, limit) == RouterAnswer::Done) {
        std::erase_if(table_, [&](const RouterEntry& entry) {
            return entry.externalPort == own.externalPort;
        });
        own.mayExist = false;
    }
}

bool RouterWork::isFresh(const Own& own, const RouterEntry& entry) const {
    const bool isRunningOut = entry.lease.count() > 0 && entry.lease < lease_ / 2;
    return entry.isEnabled && !isRunningOut && Steady::now() - own.renewed < lease_ / 2;
}

const RouterEntry* RouterWork::entryOf(std::uint16_t externalPort) const {
    const auto found = std::find_if(table_.begin(), table_.end(), [&](const RouterEntry& entry) {
        return entry.externalPort == externalPort;
    });
    return found == table_.end() ? nullptr : &*found;
}

bool RouterWork::leadsHere(const RouterEntry& entry, std::uint16_t localPort) const {
    return router_ && !entry.client.empty() && entry.client == router_->localAddress() &&
           entry.internalPort == localPort;
}

RouterOutcome RouterWork::outcome() const {
    RouterOutcome result{{}, externalAddress_, trouble_};
    for (const Own& own : own_) {
        result.mappings.push_back(
            {own.isMapped ? Status::Mapped : Status::Unmapped, own.localPort, own.externalPort});
    }
    const auto isKnown = [&](std::uint16_t externalPort) {
        return std::any_of(result.mappings.begin(), result.mappings.end(), [&](const auto& known) {
            return known.mappingStatus == Status::Mapped && known.externalPort == externalPort;
        });
    };
    for (const RouterEntry& entry : table_) {
        if (!isKnown(entry.externalPort)) {
            const bool isOurs = entry.isEnabled && leadsHere(entry, entry.internalPort);
            result.mappings.push_back({Status::Mapped,
                                       isOurs ? entry.internalPort : std::uint16_t{0},
                                       entry.externalPort});
        }
    }
    for (const std::uint16_t port : taken_) {
        if (!isKnown(port)) {
            result.mappings.push_back({Status::Mapped, 0, port});
        }
    }
    return result;
}

void RouterWork::removeAll(const RouterLimit& limit) {
    for (const Own& own : own_) {
        if (router_ && own.mayExist) {
            router_->unmap(own.localPort, own.externalPort, limit);
        }
    }
    own_.clear();
}

} // namespace ovelo
