#pragma once

#include "platform/Router.h"

#include <string>
#include <vector>

namespace ovelo::upnp {

/// Who answers in the local network.
struct SearchResult {
    std::vector<std::string> locations; // of descriptions, at most kMostLocations
    bool hasNetwork = true;             // false: the question could not even be sent
};

inline constexpr std::size_t kMostLocations = 8;

/// Asks the local network for routers. Waits until half a second after the first answer, or for the
/// whole limit.
///
/// thread  any
SearchResult search(const RouterLimit& limit);

} // namespace ovelo::upnp
