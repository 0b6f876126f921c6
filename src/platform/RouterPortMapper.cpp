#include "platform/RouterPortMapper.h"

#include "platform/MainThread.h"
#include "platform/NatPmpRouter.h"
#include "platform/Threads.h"
#include "platform/UpnpRouter.h"

#include <sys/eventfd.h>

#include <utility>

namespace ovelo {

namespace {

constexpr std::chrono::seconds kMostWork(60); // of one order, whatever the router does

} // namespace

/// Carries outcomes to the main thread, until it is cut there.
class RouterPortMapper::Relay {
public:
    explicit Relay(RouterPortMapper& owner) : owner_(&owner) {}

    void deliver(RouterOutcome outcome, std::uint64_t number) {
        if (owner_ == nullptr) {
            return;
        }
        const bool isNews = number != owner_->told_ || outcome != owner_->outcome_;
        owner_->outcome_ = std::move(outcome);
        if (number != owner_->started_ || !isNews) {
            return; // the end of what has been started meanwhile will be told
        }
        owner_->told_ = number;
        owner_->didReceiveUPNPMappingTable().emit();
        if (owner_ != nullptr) { // a listener may have ended it
            owner_->didFinishWork().emit();
        }
    }
    void cut() { owner_ = nullptr; }

private:
    RouterPortMapper* owner_;
};

RouterPortMapper::RouterPortMapper() : RouterPortMapper(Options{}) {
}

RouterPortMapper::RouterPortMapper(Options options)
    : relay_(std::make_shared<Relay>(*this))
    , options_(std::move(options))
    , wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , work_(options_.find, options_.lease) {
}

RouterPortMapper::~RouterPortMapper() {
    stop();
    if (thread_.joinable()) {
        thread_.join(); // which every wait of its own ends for
    }
}

void RouterPortMapper::start() {
    if (!relay_) {
        return;
    }
    {
        const std::lock_guard lock(desk_.lock);
        desk_.order.refresh = desk_.order.refresh || next_.refresh;
        desk_.order.added.insert(desk_.order.added.end(), next_.added.begin(), next_.added.end());
        desk_.hasOrder = true;
        desk_.number = ++started_;
    }
    next_ = {};
    desk_.changed.notify_one();
    if (!thread_.joinable()) {
        thread_ = std::jthread([this, relay = relay_] { work(relay); });
    }
}

void RouterPortMapper::keepPortMapping(const TCMPortMapping& mapping) {
    {
        const std::lock_guard lock(desk_.lock);
        desk_.order.kept.push_back(mapping);
    }
    desk_.changed.notify_one();
}

void RouterPortMapper::stop() {
    if (!relay_) {
        return;
    }
    relay_->cut();
    relay_.reset();
    {
        const std::lock_guard lock(desk_.lock);
        desk_.isStopping = true;
        desk_.goodbyeUntil = RouterLimit::Steady::now() + options_.goodbye;
    }
    ::eventfd_write(wake_.get(), 1);
    desk_.changed.notify_one();
}

void RouterPortMapper::work(const std::shared_ptr<Relay>& relay) {
    settleThread("port-mapper");
    RouterOrder order;
    std::uint64_t number = 0;
    while (takeOrder(order, number)) {
        RouterOutcome outcome =
            work_.carryOut(order, {RouterLimit::Steady::now() + kMostWork, wake_.get()});
        MainThread::perform([relay, outcome = std::move(outcome), number]() mutable {
            relay->deliver(std::move(outcome), number);
        });
    }
    work_.adopt(order.kept);
    work_.removeAll({desk_.goodbyeUntil, -1});
}

/// Waits for something to do: an order, or the time to look after the mappings.
///
/// return  false at the end; the order's kept mappings are still to be taken over then
bool RouterPortMapper::takeOrder(RouterOrder& order, std::uint64_t& number) {
    std::unique_lock lock(desk_.lock);
    const auto hasSomething = [this] {
        return desk_.isStopping || desk_.hasOrder || !desk_.order.kept.empty();
    };
    bool isUpkeep = false;
    if (work_.hasMappings()) {
        isUpkeep = !desk_.changed.wait_for(lock, options_.upkeep, hasSomething);
    } else {
        desk_.changed.wait(lock, hasSomething);
    }
    order = std::exchange(desk_.order, {});
    order.refresh = order.refresh || isUpkeep;
    desk_.hasOrder = false;
    number = desk_.number;
    return !desk_.isStopping;
}

RouterSearch RouterPortMapper::findRouter(const RouterLimit& limit) {
    RouterSearch upnp = UpnpRouter::find(limit);
    if (upnp.router) {
        return upnp;
    }
    RouterSearch natPmp = NatPmpRouter::find(limit);
    natPmp.hasNetwork = natPmp.hasNetwork || upnp.hasNetwork;
    return natPmp;
}

} // namespace ovelo
