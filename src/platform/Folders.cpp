#include "platform/Folders.h"

#include <glib.h>

#include <system_error>

namespace ovelo::folders {

namespace fs = std::filesystem;

fs::path documents() {
    const char* configured = g_get_user_special_dir(G_USER_DIRECTORY_DOCUMENTS);
    const fs::path folder =
        configured != nullptr ? fs::path(configured) : fs::path(g_get_home_dir()) / "Documents";
    std::error_code failure;
    fs::create_directories(folder, failure);
    return fs::is_directory(folder, failure) ? folder : fs::path();
}

fs::path temporary() {
    const char* chosen = g_getenv("TMPDIR");
    std::error_code failure;
    if (chosen != nullptr && fs::is_directory(chosen, failure)) {
        return chosen;
    }
    return "/tmp";
}

fs::path settings() {
    return fs::path(g_get_user_config_dir()) / "Ovelo";
}

fs::path resources() {
    std::error_code failure;
    const fs::path program = fs::read_symlink("/proc/self/exe", failure);
    return program.parent_path().parent_path() / "share" / "ovelo";
}

} // namespace ovelo::folders
