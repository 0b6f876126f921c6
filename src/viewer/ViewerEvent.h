#pragma once

#include "viewer/ViewerStream.h"

#include <string>
#include <variant>

namespace ovelo {

/// The server's first line: "CONNECTED" or "CONNECTED,PASS".
struct GreetingEvent {
    std::string line;
    bool passwordNeeded = false;
};

/// The answer to a password: "AUTH_OK" or "AUTH_FALLED".
struct AuthenticationEvent {
    std::string line;
    bool accepted = false;
};

/// Any other line, without its line feed.
struct TextEvent {
    std::string line;
};

/// The connection has ended. Told once for each connection, after everything that was received.
struct LostEvent {
    std::string reason;
};

/// What a viewer hears of its server, in the order in which it came.
using ViewerEvent =
    std::variant<GreetingEvent, AuthenticationEvent, TextEvent, ViewerBlock, LostEvent>;

} // namespace ovelo
