#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

/// One recording on the server.
struct Recording {
    std::string name; // of its file; what Playback wants
    std::string date; // of its creation, the server's local time: "20240131235959"

    friend bool operator==(const Recording&, const Recording&) = default;
};

/// What the line "RECORDED_LIST,-name-date,-name-date" lists.
///
/// A name may hold commas, hyphens, blanks and any letters, and nothing in the line quotes them.
/// What is sure: each entry begins with ",-", its name ends with ".mov", and a hyphen and fourteen
/// digits that are a date follow, then the next entry or the end. The first place that looks so ends
/// an entry. So a name is cut too early only when it holds ".mov-", a date and ",-" itself, like a
/// copy called "a.mov-20240131235959,-b.mov"; such an entry cannot be told from two.
struct RecordingList {
    std::vector<Recording> recordings; // in the server's order

    /// Reads such a line, without its line feed. What is not in the form of an entry ends the list.
    ///
    /// return  none when it is another line
    static std::optional<RecordingList> parse(std::string_view line);
};

} // namespace ovelo
