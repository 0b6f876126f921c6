#pragma once

#include "platform/TCMPortMapper.h"

#include <string>

/// What the user is told about the way in from the internet.
namespace ovelo::reachability {

/// True for an address that nobody on the internet can reach: a private one, one that a provider
/// shares among customers, or none at all.
///
/// address  dotted
bool isPrivate(const std::string& address);

/// One plain sentence about what is wrong; "" when all is well.
///
/// externalAddress  of the router; "" when not known
/// isMapped         whether our port is forwarded
std::string problem(PortMapperTrouble trouble, bool isMapped, const std::string& externalAddress);

} // namespace ovelo::reachability
