#include "platform/AvahiBrowser.h"

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/address.h>
#include <avahi-common/error.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

namespace ovelo {

namespace {

constexpr std::chrono::milliseconds kDaemonLimit{
    2000}; // a daemon that does not answer sooner hangs

constexpr AvahiLookupFlags kNoFlags = static_cast<AvahiLookupFlags>(0);

} // namespace

/// The search at the daemon. On the connection's thread, unless said otherwise.
class AvahiBrowser::Search final : public AvahiUser {
public:
    Search(std::string type, Found found) : type_(std::move(type)), found_(std::move(found)) {}

    void daemonReady(AvahiClient& client) override;
    void daemonPaused() override {} // a search does not depend on this computer's name
    void daemonLost(int error) override;

    /// Reports nothing any more. Any thread but the connection's.
    void silence();

    /// Any thread but the connection's.
    bool hasDaemon(std::chrono::milliseconds limit);

private:
    // NOLINTNEXTLINE(readability-function-size): the signature is the library's
    static void browsed(AvahiServiceBrowser* browser, AvahiIfIndex interface,
                        AvahiProtocol protocol, AvahiBrowserEvent event, const char* name,
                        const char* type, const char* domain, AvahiLookupResultFlags flags,
                        void* self);
    // NOLINTNEXTLINE(readability-function-size): the signature is the library's
    static void resolved(AvahiServiceResolver* resolver, AvahiIfIndex interface,
                         AvahiProtocol protocol, AvahiResolverEvent event, const char* name,
                         const char* type, const char* domain, const char* hostName,
                         const AvahiAddress* address, std::uint16_t port, AvahiStringList* text,
                         AvahiLookupResultFlags flags, void* self);
    void report(const char* name, const AvahiAddress& address, std::uint16_t port);
    void setDaemon(bool there);

    const std::string type_;
    const Found found_;
    AvahiServiceBrowser* browser_ = nullptr; // owned by the client
    std::set<std::string> reported_;
    std::mutex lock_; // held during a report, so that silence() waits for it
    std::condition_variable changed_;
    bool silent_ = false;        // guarded by lock_
    std::optional<bool> daemon_; // guarded by lock_
};

void AvahiBrowser::Search::daemonReady(AvahiClient& client) {
    if (browser_ == nullptr) {
        browser_ =
            avahi_service_browser_new(&client, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, type_.c_str(),
                                      nullptr, kNoFlags, &Search::browsed, this);
    }
    if (browser_ == nullptr) {
        fail(avahi_client_errno(&client));
        return;
    }
    setDaemon(true);
}

void AvahiBrowser::Search::daemonLost(int /*error*/) {
    browser_ = nullptr;
    reported_.clear();
    setDaemon(false);
}

// NOLINTNEXTLINE(readability-function-size): the signature is the library's
void AvahiBrowser::Search::browsed(AvahiServiceBrowser* browser, AvahiIfIndex interface,
                                   AvahiProtocol protocol, AvahiBrowserEvent event,
                                   const char* name, const char* type, const char* domain,
                                   AvahiLookupResultFlags /*flags*/, void* self) {
    auto& search = *static_cast<Search*>(self);
    AvahiClient* client = avahi_service_browser_get_client(browser);
    if (event == AVAHI_BROWSER_NEW) {
        // The resolver frees itself once it has an answer; one that cannot be made is one service
        // not found.
        avahi_service_resolver_new(client, interface, protocol, name, type, domain,
                                   AVAHI_PROTO_INET, kNoFlags, &Search::resolved, &search);
    } else if (event == AVAHI_BROWSER_REMOVE) {
        search.reported_.erase(name);
    } else if (event == AVAHI_BROWSER_FAILURE) {
        search.fail(avahi_client_errno(client));
    }
}

// NOLINTNEXTLINE(readability-function-size): the signature is the library's
void AvahiBrowser::Search::resolved(AvahiServiceResolver* resolver, AvahiIfIndex /*interface*/,
                                    AvahiProtocol /*protocol*/, AvahiResolverEvent event,
                                    const char* name, const char* /*type*/, const char* /*domain*/,
                                    const char* /*hostName*/, const AvahiAddress* address,
                                    std::uint16_t port, AvahiStringList* /*text*/,
                                    AvahiLookupResultFlags /*flags*/, void* self) {
    if (event == AVAHI_RESOLVER_FOUND && address != nullptr && address->proto == AVAHI_PROTO_INET) {
        static_cast<Search*>(self)->report(name, *address, port);
    }
    avahi_service_resolver_free(resolver);
}

void AvahiBrowser::Search::report(const char* name, const AvahiAddress& address,
                                  std::uint16_t port) {
    if (!reported_.insert(name).second) {
        return; // seen on another interface already
    }
    std::array<char, AVAHI_ADDRESS_STR_MAX> host{};
    avahi_address_snprint(host.data(), host.size(), &address);
    const std::lock_guard lock(lock_);
    if (!silent_) {
        found_(FoundService{name, host.data(), port});
    }
}

void AvahiBrowser::Search::setDaemon(bool there) {
    {
        const std::lock_guard lock(lock_);
        daemon_ = there;
    }
    changed_.notify_all();
}

void AvahiBrowser::Search::silence() {
    const std::lock_guard lock(lock_);
    silent_ = true;
}

bool AvahiBrowser::Search::hasDaemon(std::chrono::milliseconds limit) {
    std::unique_lock lock(lock_);
    changed_.wait_for(lock, limit, [this] { return daemon_.has_value(); });
    return daemon_.value_or(false);
}

AvahiBrowser::AvahiBrowser(const std::string& type, Found found)
    : search_(std::make_shared<Search>(type, std::move(found)))
    , connection_(search_) {
}

AvahiBrowser::~AvahiBrowser() {
    search_->silence();
    connection_.stop();
}

bool AvahiBrowser::hasDaemon(std::chrono::milliseconds limit) const {
    return search_->hasDaemon(limit);
}

std::unique_ptr<ServiceBrowser> ServiceBrowser::create(const std::string& type, Found found) {
    auto browser = std::make_unique<AvahiBrowser>(type, std::move(found));
    if (!browser->hasDaemon(kDaemonLimit)) {
        return nullptr;
    }
    return browser;
}

} // namespace ovelo
