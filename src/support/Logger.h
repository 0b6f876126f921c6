#pragma once

#include "platform/Mutex.h"

#include <filesystem>
#include <string_view>

namespace ovelo {

class Settings;

/// The event log: one text file in the user's documents folder, written only while the setting
/// "log_events" is on.
///
/// Each entry opens and closes the file, which only its owner may read: what viewers send is in it.
///
/// errors  none: an entry that cannot be written is lost
/// thread  any
class Logger final {
public:
    /// The log of the process, in the documents folder.
    static Logger& sharedInstance();

    /// The log in a documents folder; empty, which no entry can be written to, without such a folder.
    static std::filesystem::path pathIn(const std::filesystem::path& documents);

    /// file  full path; its folder need not exist
    Logger(std::filesystem::path file, const Settings& settings);

    /// Appends "date: message". The caller puts the line end into the message.
    void write(std::string_view message);

    /// Deletes the file if it exists.
    void clear();

private:
    const std::filesystem::path path_;
    const Settings& settings_;
    Mutex lock_{LockRank::Log};
};

} // namespace ovelo
