#pragma once

#include "platform/FileWatch.h"
#include "platform/IniFile.h"
#include "platform/MemorySettings.h"
#include "platform/Mutex.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// The user's settings in a file that people and other programs may change as well.
///
/// Reads come from memory. A write goes to the file before it returns, and leaves alone what others
/// wrote there. A file that cannot be written costs nothing but the memory of it: the values hold
/// as long as the object. A damaged file is not used, and is renamed before anything is written in
/// its place. Each of these is said once on standard error.
///
/// data    texts are UTF-8
/// thread  any for reads and writes, holding no Mutex of rank Settings or above; made, watched and
/// destroyed on the main thread
class IniSettings final : public MemorySettings {
public:
    /// Reads the file; none is made before the first write.
    explicit IniSettings(std::filesystem::path path = defaultPath());
    ~IniSettings() override;

    /// Ovelo.ini in the user's settings folder.
    [[nodiscard]] static std::filesystem::path defaultPath();

    /// Follows from now on what others do to the file, within a second. Needs the main loop;
    /// without it the values are those of the start.
    void watch();

    /// True when every value that was set is in the file.
    [[nodiscard]] bool isSaved() const;

protected:
    void store(std::string_view key, std::optional<Array> value) override;

private:
    /// Says a trouble once, until it is over.
    class Complaint {
    public:
        void say(const std::string& text);
        void over() { said_.clear(); }

    private:
        std::string said_;
    };

    void load();
    void writeUnsaved() OVELO_REQUIRES(fileLock_);
    bool setDamagedAside() OVELO_REQUIRES(fileLock_);
    void sayNotStored(const std::string& reason) OVELO_REQUIRES(fileLock_);

    const IniFile file_;
    mutable Mutex fileLock_{LockRank::Settings}; // held while memory and file are made equal
    IniFile::Changes unsaved_ OVELO_GUARDED_BY(fileLock_);
    Complaint reading_ OVELO_GUARDED_BY(fileLock_);
    Complaint writing_ OVELO_GUARDED_BY(fileLock_);
    std::unique_ptr<FileWatch> watch_;
};

} // namespace ovelo
