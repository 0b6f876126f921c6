#pragma once

#include "platform/Router.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// A router that lives in the test; what finds it holds a door to it, for it outlives the search.
class FakeRouter {
public:
    RouterSearch find() {
        ++searches;
        RouterSearch found;
        found.hasNetwork = hasNetwork;
        if (isOn && hasNetwork) {
            found.router = std::make_unique<Door>(*this);
        }
        return found;
    }

    void enter(std::uint16_t externalPort, const std::string& client, std::uint16_t internalPort,
               const std::string& description = "somebody's") {
        table.push_back(
            {externalPort, internalPort, client, description, std::chrono::seconds(0), true});
    }
    [[nodiscard]] RouterEntry* entryOf(std::uint16_t externalPort) {
        for (RouterEntry& entry : table) {
            if (entry.externalPort == externalPort) {
                return &entry;
            }
        }
        return nullptr;
    }

    std::atomic<bool> isOn = true;
    bool hasNetwork = true;
    bool tellsTable = true;
    std::string address = "203.0.113.7";
    std::string host = "10.0.0.2"; // this computer
    RouterAnswer addressAnswer = RouterAnswer::Done;
    RouterAnswer mapAnswer = RouterAnswer::Done;
    RouterAnswer unmapAnswer = RouterAnswer::Done;
    std::uint16_t choice = 0; // the external port that it gives; 0: the desired one
    std::vector<RouterEntry> table;
    std::vector<std::pair<std::uint16_t, std::uint16_t>> mapped;   // local and external ports
    std::vector<std::pair<std::uint16_t, std::uint16_t>> unmapped; // likewise
    std::atomic<int> searches = 0;
    std::atomic<int> looks = 0;
    std::function<void(const RouterLimit&)> duringLook;

private:
    class Door final : public Router {
    public:
        explicit Door(FakeRouter& router) : router_(router) {}

        RouterAnswer readAddress(std::string& address, const RouterLimit& limit) override {
            ++router_.looks;
            if (router_.duringLook) {
                router_.duringLook(limit);
            }
            if (!router_.isOn) {
                return RouterAnswer::Silent;
            }
            address = router_.address;
            return router_.addressAnswer;
        }
        std::optional<std::vector<RouterEntry>> readTable(const RouterLimit&) override {
            return router_.tellsTable ? std::optional(router_.table) : std::nullopt;
        }
        RouterAnswer map(std::uint16_t localPort, std::uint16_t& externalPort,
                         std::chrono::seconds lease, const RouterLimit&) override {
            router_.mapped.emplace_back(localPort, externalPort);
            if (router_.mapAnswer == RouterAnswer::Done) {
                externalPort = router_.choice != 0 ? router_.choice : externalPort;
                std::erase_if(router_.table, [&](const RouterEntry& entry) {
                    return entry.externalPort == externalPort;
                });
                router_.table.push_back(
                    {externalPort, localPort, router_.host, kDescription, lease, true});
            }
            return router_.mapAnswer;
        }
        RouterAnswer unmap(std::uint16_t localPort, std::uint16_t externalPort,
                           const RouterLimit&) override {
            router_.unmapped.emplace_back(localPort, externalPort);
            if (router_.unmapAnswer == RouterAnswer::Done) {
                std::erase_if(router_.table, [&](const RouterEntry& entry) {
                    return entry.externalPort == externalPort;
                });
            }
            return router_.unmapAnswer;
        }
        [[nodiscard]] std::string localAddress() const override { return router_.host; }

    private:
        FakeRouter& router_;
    };
};

} // namespace ovelo
