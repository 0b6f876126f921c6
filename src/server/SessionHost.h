#pragma once

#include <string>

namespace ovelo {

class NetworkInstance;

/// What a session needs of the server. Implemented by Network.
class SessionHost {
public:
    virtual ~SessionHost() = default;

    /// Shows a status text. Main thread.
    virtual void setNetworkStatus(const std::string& text) = 0;

    /// The session has ended. Called exactly once by each TCP session, on its own thread, as its
    /// last act.
    virtual void networkInstanceExitSel(NetworkInstance& session) = 0;
};

} // namespace ovelo
