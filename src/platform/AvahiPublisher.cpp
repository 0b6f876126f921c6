#include "platform/AvahiPublisher.h"

#include "platform/CHandle.h"
#include "platform/MainThread.h"

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>

#include <set>
#include <utility>

namespace ovelo {

namespace {

constexpr int kMostRenames = 100; // more services of one name are a fault of somebody's

} // namespace

/// Carries news to the delegate on the main thread, until it is cut there.
class AvahiPublisher::Relay {
public:
    Relay(Delegate& delegate, PublishedService service)
        : delegate_(&delegate)
        , service_(std::move(service)) {}

    void published(const PublishedService& service) {
        service_ = service;
        if (delegate_ != nullptr) {
            delegate_->netServiceWillPublish(service);
        }
    }
    void notPublished(const PublishedService& service, int error) {
        service_ = service;
        if (delegate_ != nullptr) {
            delegate_->netServiceDidNotPublish(service, error);
        }
    }
    void cut() { delegate_ = nullptr; }

    /// As the delegate last heard of it: its name may have become another one.
    [[nodiscard]] const PublishedService& service() const { return service_; }

private:
    Delegate* delegate_;
    PublishedService service_;
};

/// The announcement at the daemon. On the connection's thread.
class AvahiPublisher::Announcement final : public AvahiUser {
public:
    Announcement(PublishedService service, std::shared_ptr<Relay> relay)
        : service_(std::move(service))
        , relay_(std::move(relay)) {}

    void daemonReady(AvahiClient& client) override;
    void daemonPaused() override;
    void daemonLost(int error) override;

private:
    static void groupChanged(AvahiEntryGroup* group, AvahiEntryGroupState state, void* self);
    void announce();
    int addService();
    bool takeAnotherName();
    void tellPublished();
    void tellProblem(int error);

    PublishedService service_;
    const std::shared_ptr<Relay> relay_;
    AvahiEntryGroup* group_ = nullptr; // owned by the client
    std::set<int> told_;               // problems since the last success
};

void AvahiPublisher::Announcement::daemonReady(AvahiClient& client) {
    if (group_ == nullptr) {
        group_ = avahi_entry_group_new(&client, &Announcement::groupChanged, this);
    }
    if (group_ == nullptr) {
        fail(avahi_client_errno(&client));
        return;
    }
    if (avahi_entry_group_is_empty(group_) != 0) {
        announce();
    }
}

void AvahiPublisher::Announcement::announce() {
    int error = addService();
    for (int i = 0; error == AVAHI_ERR_COLLISION && i < kMostRenames; ++i) { // on this computer
        if (!takeAnotherName()) {
            return;
        }
        error = addService();
    }
    if (error >= 0) {
        error = avahi_entry_group_commit(group_);
    }
    if (error < 0) {
        fail(error);
    }
}

int AvahiPublisher::Announcement::addService() {
    const char* domain = service_.domain.empty() ? nullptr : service_.domain.c_str();
    // The server listens on IPv4 only.
    return avahi_entry_group_add_service(
        group_, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, static_cast<AvahiPublishFlags>(0),
        service_.name.c_str(), service_.type.c_str(), domain, nullptr, service_.port, nullptr);
}

/// return  false when there is none: the name is not a possible one at all
bool AvahiPublisher::Announcement::takeAnotherName() {
    const CHandle<char, &avahi_free> name(avahi_alternative_service_name(service_.name.c_str()));
    if (!name) {
        fail(AVAHI_ERR_INVALID_SERVICE_NAME);
        return false;
    }
    service_.name = name.get();
    return true;
}

void AvahiPublisher::Announcement::groupChanged(AvahiEntryGroup* group, AvahiEntryGroupState state,
                                                void* self) {
    auto& announcement = *static_cast<Announcement*>(self);
    switch (state) {
    case AVAHI_ENTRY_GROUP_ESTABLISHED:
        announcement.tellPublished();
        break;
    case AVAHI_ENTRY_GROUP_COLLISION: // with another computer
        avahi_entry_group_reset(group);
        if (announcement.takeAnotherName()) {
            announcement.announce();
        }
        break;
    case AVAHI_ENTRY_GROUP_FAILURE:
        announcement.fail(avahi_client_errno(avahi_entry_group_get_client(group)));
        break;
    case AVAHI_ENTRY_GROUP_UNCOMMITED:
    case AVAHI_ENTRY_GROUP_REGISTERING:
        break;
    }
}

void AvahiPublisher::Announcement::daemonPaused() {
    if (group_ != nullptr) {
        avahi_entry_group_reset(group_);
    }
}

void AvahiPublisher::Announcement::daemonLost(int error) {
    group_ = nullptr;
    tellProblem(error);
}

void AvahiPublisher::Announcement::tellPublished() {
    told_.clear();
    MainThread::perform([relay = relay_, service = service_] { relay->published(service); });
}

void AvahiPublisher::Announcement::tellProblem(int error) {
    if (told_.insert(error).second) {
        MainThread::perform(
            [relay = relay_, service = service_, error] { relay->notPublished(service, error); });
    }
}

AvahiPublisher::AvahiPublisher(PublishedService service, Delegate& delegate)
    : service_(std::move(service))
    , delegate_(delegate) {
}

AvahiPublisher::~AvahiPublisher() {
    withdraw();
}

void AvahiPublisher::publish() {
    if (connection_) {
        return;
    }
    relay_ = std::make_shared<Relay>(delegate_, service_);
    connection_ =
        std::make_unique<AvahiConnection>(std::make_shared<Announcement>(service_, relay_));
}

void AvahiPublisher::stop() {
    if (connection_) {
        withdraw();
        delegate_.netServiceDidStop(relay_->service());
    }
}

void AvahiPublisher::withdraw() {
    if (relay_) {
        relay_->cut();
    }
    connection_.reset();
}

std::unique_ptr<ServicePublisher> ServicePublisher::create(const PublishedService& service,
                                                           Delegate& delegate) {
    return std::make_unique<AvahiPublisher>(service, delegate);
}

} // namespace ovelo
