#include "platform/EDMailAgent.h"

#include "platform/SmtpMailAgent.h"

#include <utility>

namespace ovelo {

std::unique_ptr<EDMailAgent> EDMailAgent::mailAgentForRelayHostWithName(const std::string& name,
                                                                        Options options) {
    return std::make_unique<SmtpMailAgent>(name, std::move(options));
}

std::unique_ptr<EDMailAgent> EDMailAgent::mailAgentForRelayHostWithName(const std::string& name) {
    return mailAgentForRelayHostWithName(name, Options{});
}

} // namespace ovelo
