#pragma once

#include "platform/AvahiConnection.h"
#include "platform/ServiceBrowser.h"

#include <chrono>
#include <memory>
#include <string>

namespace ovelo {

/// Looks for services through the Avahi daemon.
///
/// thread  one at a time
class AvahiBrowser final : public ServiceBrowser {
public:
    AvahiBrowser(const std::string& type, Found found);

    /// Nothing is reported any more when it returns.
    ~AvahiBrowser() override;

    /// Waits until it is known whether there is a daemon.
    [[nodiscard]] bool hasDaemon(std::chrono::milliseconds limit) const;

private:
    class Search;

    std::shared_ptr<Search> search_;
    AvahiConnection connection_;
};

} // namespace ovelo
