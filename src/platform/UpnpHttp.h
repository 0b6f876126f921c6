#pragma once

#include "platform/Router.h"

#include <optional>
#include <string>
#include <vector>

/// Plain web requests to a router in the local network. They do not follow where it points to, use no
/// proxy, and end at their limit however the router drips.
namespace ovelo::upnp {

struct HttpReply {
    int status = 0;
    std::string body;         // at most 256 KiB; a longer one is a failure
    std::string localAddress; // of this computer, as the router sees it
};

/// Waits for the whole reply.
///
/// url      with an address, not a name
/// body     what is posted; nothing for a GET
/// headers  "Name: value"
/// thread   any
std::optional<HttpReply> exchange(const std::string& url, const std::optional<std::string>& body,
                                  const std::vector<std::string>& headers,
                                  const RouterLimit& limit);

} // namespace ovelo::upnp
