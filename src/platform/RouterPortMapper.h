#pragma once

#include "platform/FileDescriptor.h"
#include "platform/RouterWork.h"
#include "platform/TCMPortMapper.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace ovelo {

/// The port mapper of the program: UPnP, then NAT-PMP, on a thread of its own, which begins with the
/// first start().
///
/// A search without any router takes some seconds. Between two pieces of work the thread sleeps; while
/// it holds mappings it looks after them every few minutes.
class RouterPortMapper final : public TCMPortMapper {
public:
    /// What tests change.
    struct Options {
        RouterWork::Find find = &RouterPortMapper::findRouter;
        std::chrono::seconds lease{3600};
        std::chrono::milliseconds upkeep{std::chrono::seconds(360)}; // a little more than a run's
        std::chrono::milliseconds goodbye{900}; // for removing our mappings at the end
    };

    RouterPortMapper();
    explicit RouterPortMapper(Options options);
    ~RouterPortMapper() override;

    void refresh() override { next_.refresh = true; }
    void start() override;
    void stop() override;
    [[nodiscard]] std::vector<TCMPortMapping> portMappings() const override {
        return outcome_.mappings;
    }
    void addPortMapping(const TCMPortMapping& mapping) override { next_.added.push_back(mapping); }
    void keepPortMapping(const TCMPortMapping& mapping) override;
    [[nodiscard]] std::string externalIPAddress() const override {
        return outcome_.externalAddress;
    }
    [[nodiscard]] PortMapperTrouble trouble() const override { return outcome_.trouble; }

    /// Looks for a router of either kind. thread: a worker's
    static RouterSearch findRouter(const RouterLimit& limit);

private:
    class Relay;

    /// What the two threads share.
    struct Desk {
        std::mutex lock; // a leaf
        std::condition_variable changed;
        RouterOrder order;
        bool hasOrder = false;
        std::uint64_t number = 0; // of the latest start()
        bool isStopping = false;
        RouterLimit::Steady::time_point goodbyeUntil;
    };

    void work(const std::shared_ptr<Relay>& relay);
    bool takeOrder(RouterOrder& order, std::uint64_t& number);

    // Main thread.
    RouterOrder next_;
    RouterOutcome outcome_;
    std::uint64_t started_ = 0;
    std::uint64_t told_ = 0;
    std::shared_ptr<Relay> relay_; // null once stopped

    const Options options_;
    const FileDescriptor wake_; // readable once stopping
    Desk desk_;
    RouterWork work_; // the thread's
    std::jthread thread_;
};

} // namespace ovelo
