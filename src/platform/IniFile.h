#pragma once

#include "platform/MemorySettings.h"
#include "platform/Result.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace ovelo {

/// One settings file: INI format as Qt writes it, the keys of section [General] by their plain
/// names.
///
/// Holds no state but the path; every operation looks at the file afresh.
///
/// thread  any, one call at a time for one path
class IniFile final {
public:
    using Values = MemorySettings::Values;

    /// Keys to set, or to remove (none).
    using Changes = std::map<std::string, std::optional<Settings::Array>, std::less<>>;

    enum class Condition {
        Missing,
        Good,
        Damaged,   // readable, but not a settings file: binary, or with lines that say nothing
        Unreadable // not a file, or not for us
    };

    struct Content {
        Condition condition = Condition::Missing;
        Values values;      // when Good
        std::string reason; // when Damaged or Unreadable
    };

    explicit IniFile(std::filesystem::path path) : path_(std::move(path)) {}

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// Reads the file, and takes it away from other users when they could read it.
    [[nodiscard]] Content read() const;

    /// Applies `changes` to what the file holds now, whoever wrote it, and replaces it in one step.
    /// A new file and its folder are for the owner alone.
    ///
    /// return  why nothing was written, or nothing
    [[nodiscard]] std::optional<Failure> write(const Changes& changes) const;

    /// Renames the file to "NAME.damaged-YYYYMMDDHHMMSS" beside it.
    ///
    /// return  the new path; never one that existed
    [[nodiscard]] Result<std::filesystem::path> setAside() const;

private:
    std::filesystem::path path_;
};

} // namespace ovelo
