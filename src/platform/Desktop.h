#pragma once

#include <filesystem>
#include <string>

/// What the user's desktop does for us. Main thread only.
namespace ovelo::desktop {

/// Opens a web address in the user's browser; false when there is none, or when it is no address of
/// the web.
bool openUrl(const std::string& url);

/// Opens a folder in the user's file browser; false when there is none.
bool openFolder(const std::filesystem::path& folder);

} // namespace ovelo::desktop
