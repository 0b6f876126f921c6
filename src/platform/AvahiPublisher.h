#pragma once

#include "platform/AvahiConnection.h"
#include "platform/ServicePublisher.h"

#include <memory>

namespace ovelo {

/// Announces one service through the Avahi daemon, under another name when the name is taken.
///
/// thread  main
class AvahiPublisher final : public ServicePublisher {
public:
    AvahiPublisher(PublishedService service, Delegate& delegate);

    /// Withdraws the announcement without telling the delegate, which may be half gone.
    ~AvahiPublisher() override;

    void publish() override;
    void stop() override;

private:
    class Announcement;
    class Relay;

    void withdraw();

    PublishedService service_;
    Delegate& delegate_;
    std::shared_ptr<Relay> relay_;
    std::unique_ptr<AvahiConnection> connection_; // none: not published
};

} // namespace ovelo
