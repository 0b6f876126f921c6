#pragma once

#include "platform/Result.h"

#include <filesystem>
#include <optional>
#include <stop_token>

namespace ovelo {

/// Moves a file, also to another file system: there it is copied beside the target under the
/// target's name with ".part" behind it, written to the disk, renamed into place, and the original
/// deleted. Never overwrites anything.
///
/// stop    asks a copy to be given up
/// return  why it did not happen: `from` is as it was then, and `to` is not touched
/// thread  any; takes as long as copying the file
[[nodiscard]] std::optional<Failure> moveFile(const std::filesystem::path& from,
                                              const std::filesystem::path& to,
                                              const std::stop_token& stop = {});

} // namespace ovelo
