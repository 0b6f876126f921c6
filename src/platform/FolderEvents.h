#pragma once

#include "platform/FileDescriptor.h"

#include <chrono>
#include <filesystem>

namespace ovelo {

/// Wakes a thread when a file of a folder has been written and closed, or has been moved there.
///
/// errors  where the system tells no such news, each wait lasts its whole time
/// thread  one waits; any may wake it
class FolderEvents final {
public:
    explicit FolderEvents(const std::filesystem::path& folder);
    FolderEvents(const FolderEvents&) = delete;
    FolderEvents& operator=(const FolderEvents&) = delete;

    /// Waits for news of any file, a wake(), or the end of the time. News that came since the last
    /// wait count.
    void wait(std::chrono::milliseconds limit);

    void wake();

private:
    FileDescriptor events_;
    FileDescriptor woken_;
};

} // namespace ovelo
