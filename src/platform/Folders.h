#pragma once

#include <filesystem>

/// Folders of the user and of the installation.
///
/// thread  any
namespace ovelo::folders {

/// The user's documents folder: the XDG one, else $HOME/Documents; created when missing.
///
/// return  empty when there is no such folder and it cannot be created
std::filesystem::path documents();

/// $TMPDIR when it names a folder, else /tmp.
std::filesystem::path temporary();

/// The folder of the settings file: $XDG_CONFIG_HOME/Ovelo, else ~/.config/Ovelo. Not created here.
std::filesystem::path settings();

/// What the application brings along: ../share/ovelo seen from the executable.
std::filesystem::path resources();

} // namespace ovelo::folders
