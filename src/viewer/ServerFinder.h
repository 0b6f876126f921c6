#pragma once

#include "platform/Result.h"
#include "platform/ServiceBrowser.h"

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

namespace ovelo {

/// Looks for viewer servers on the local network.
class ServerFinder {
public:
    using Browse = std::function<std::unique_ptr<ServiceBrowser>(const std::string& type,
                                                                 ServiceBrowser::Found found)>;

    /// How long the first server may take to answer, and how much longer others are waited for.
    struct Limits {
        std::chrono::milliseconds first{3000};
        std::chrono::milliseconds others{700};
    };

    explicit ServerFinder(Browse browse = &ServiceBrowser::create)
        : ServerFinder(std::move(browse), Limits{}) {}
    ServerFinder(Browse browse, Limits limits);

    /// Waits for answers.
    ///
    /// return  the servers in the order in which they answered, perhaps none
    /// errors  this computer cannot look for any
    /// thread  any; ends early when asked to stop
    Result<std::vector<FoundService>> find(const std::stop_token& stop) const;

private:
    Browse browse_;
    Limits limits_;
};

} // namespace ovelo
