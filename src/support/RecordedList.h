#pragma once

#include <filesystem>
#include <string>

namespace ovelo {

/// The line that tells a viewer which recordings there are: "RECORDED_LIST", then for each file
/// whose extension is exactly "mov", in the order in which the folder lists them, a comma, nothing,
/// a hyphen, the name, a hyphen and the creation date (local time, yyyyMMddHHmmss); and a line feed.
///
/// The creation date is the file's birth time, or the time of its last change where the file system
/// keeps no birth times; of a symbolic link, that of the file it leads to. Links that lead nowhere,
/// folders, and names with control characters in them are left out: a line feed in a name would
/// end the line, and let a file name speak for the server. So are names that are no UTF-8, which a
/// viewer could neither read nor send back. Every other name stands as it is, commas and hyphens
/// included.
///
/// folder  missing, unreadable or empty text: there are no recordings
/// thread  any; only reads the file system
[[nodiscard]] std::string recordedListLine(const std::filesystem::path& folder);

} // namespace ovelo
