#pragma once

#include "platform/TCMPortMapper.h"

#include <string>
#include <vector>

namespace ovelo {

/// A port mapper without a router; the test plays the router.
class FakePortMapper final : public TCMPortMapper {
public:
    void refresh() override { ++refreshes; }
    void start() override { ++starts; }
    void stop() override { isStopped = true; }
    [[nodiscard]] std::vector<TCMPortMapping> portMappings() const override { return table; }
    void addPortMapping(const TCMPortMapping& mapping) override { added.push_back(mapping); }
    void keepPortMapping(const TCMPortMapping& mapping) override { kept.push_back(mapping); }
    [[nodiscard]] std::string externalIPAddress() const override { return address; }
    [[nodiscard]] PortMapperTrouble trouble() const override { return currentTrouble; }

    /// The work is done.
    void finish() {
        if (currentTrouble == PortMapperTrouble::NotAsked) {
            currentTrouble = PortMapperTrouble::None;
        }
        didReceiveUPNPMappingTable().emit();
        didFinishWork().emit();
    }

    /// Adds an entry to the table; localPort 0: another computer's.
    void enter(std::uint16_t localPort, std::uint16_t externalPort) {
        table.push_back({TCMPortMapping::Status::Mapped, localPort, externalPort});
    }

    std::vector<TCMPortMapping> table;
    std::vector<TCMPortMapping> added;
    std::vector<TCMPortMapping> kept;
    std::string address = "203.0.113.7";
    PortMapperTrouble currentTrouble = PortMapperTrouble::NotAsked;
    int refreshes = 0;
    int starts = 0;
    bool isStopped = false;
};

} // namespace ovelo
