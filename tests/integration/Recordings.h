#pragma once

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace ovelo {

/// The movies in a folder, sorted by name; none when there is no such folder.
inline std::vector<std::filesystem::path> moviesIn(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> found;
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(folder, failure)) {
        if (entry.path().extension() == ".mov") {
            found.push_back(entry.path());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace ovelo
