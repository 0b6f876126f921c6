#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

/// A camera that has answered a search.
struct FoundCamera {
    std::string endpoint;               // its lasting identity, as it says
    std::string name;                   // as it says, perhaps ""
    std::vector<std::string> addresses; // of its device service, http or https; at least one

    friend bool operator==(const FoundCamera&, const FoundCamera&) = default;
};

/// The two messages of a search for video devices: WS-Discovery, April 2005.
///
/// thread  any
namespace discovery {

/// messageId  a UUID
std::string probe(std::string_view messageId);

/// The video devices in an answer to a probe. What comes from the network is not trusted: anything
/// that is none of these is left out, and so is what is too long.
///
/// messageId  of the probe; an answer to another one has none for us
std::vector<FoundCamera> probeMatches(std::string_view text, std::string_view messageId);

} // namespace discovery

} // namespace ovelo
