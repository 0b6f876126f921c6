#pragma once

#include "platform/Router.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The messages between a UPnP router and us. All that comes in is hostile until it has been read
/// here. Any thread.
namespace ovelo::upnp {

/// A service of a router that forwards ports.
struct Service {
    std::string controlUrl;
    std::string type;
};

using Arguments = std::vector<std::pair<const char*, std::string>>;
using Values = std::map<std::string, std::string, std::less<>>;

/// The question that every router hears.
std::string searchRequest(std::string_view target);

/// Where a router that answers it keeps its description.
///
/// sender  dotted
/// return  an http URL at the sender's own address: nobody sends us elsewhere
std::optional<std::string> location(std::string_view reply, std::string_view sender);

/// The forwarding services in a router's description, best first.
///
/// location  where it was read; services elsewhere are left out
std::vector<Service> services(const std::string& description, const std::string& location);

std::string soapBody(const Service& service, std::string_view action, const Arguments& arguments);

/// The texts in a reply by the names of their elements, without what surrounds those; the last of a
/// name counts.
Values soapValues(const std::string& body);

/// An entry of the table; nothing when it is none, or not one for TCP.
std::optional<RouterEntry> entry(const Values& values);

/// The number of an error reply; 0 when it has none.
int errorCode(const Values& values);

/// A dotted IPv4 address; "" when the text is none.
std::string addressOrNothing(std::string_view text);

/// A decimal number that is a port; nothing for any other text.
std::optional<std::uint16_t> port(std::string_view text);

} // namespace ovelo::upnp
