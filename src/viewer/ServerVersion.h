#pragma once

#include <optional>
#include <string_view>

namespace ovelo {

/// The server's line after it has let a viewer in: "VERSION,1.000000,Low,0,1,0". Its third field, a
/// word for the sensitivity, is the same whatever is set, so it is left out.
struct ServerVersion {
    double protocol = 0;
    bool motionEmail = false;
    bool motionRecord = false;
    bool motionPush = false;

    friend bool operator==(const ServerVersion&, const ServerVersion&) = default;

    /// Reads such a line, without its line feed. Further fields at the end are accepted.
    ///
    /// return  none when it is another line, or malformed
    static std::optional<ServerVersion> parse(std::string_view line);
};

/// True for the server's line that says that a recording was played to its end.
[[nodiscard]] inline bool isPlaybackDone(std::string_view line) {
    return line == "PLAYBACK_DONE";
}

} // namespace ovelo
