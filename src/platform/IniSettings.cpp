#include "platform/IniSettings.h"

#include "platform/Console.h"
#include "platform/Folders.h"

namespace ovelo {

IniSettings::IniSettings(std::filesystem::path path) : file_(std::move(path)) {
    load();
}

IniSettings::~IniSettings() = default;

std::filesystem::path IniSettings::defaultPath() {
    return folders::settings() / "Ovelo.ini";
}

void IniSettings::watch() {
    watch_ = std::make_unique<FileWatch>(file_.path(), [this] { load(); });
    load(); // what changed since the start
}

bool IniSettings::isSaved() const {
    const MutexLock lock(fileLock_);
    return unsaved_.empty();
}

void IniSettings::store(std::string_view key, std::optional<Array> value) {
    // One lock over both, so that two writers leave the same value in memory and in the file.
    const MutexLock lock(fileLock_);
    unsaved_[std::string(key)] = value;
    MemorySettings::store(key, std::move(value));
    writeUnsaved();
}

void IniSettings::load() {
    const MutexLock lock(fileLock_);
    IniFile::Content content = file_.read();
    if (content.condition == IniFile::Condition::Damaged ||
        content.condition == IniFile::Condition::Unreadable) {
        reading_.say(file_.path().string() + " is not used: " + content.reason);
        return;
    }
    reading_.over();
    for (const auto& [key, items] : unsaved_) {
        if (items) {
            content.values.insert_or_assign(key, *items);
        } else {
            content.values.erase(key);
        }
    }
    replaceAll(std::move(content.values));
}

void IniSettings::writeUnsaved() {
    const IniFile::Content content = file_.read();
    if (content.condition == IniFile::Condition::Unreadable) {
        // Not even tried: opening what is no file may wait for ever.
        sayNotStored(file_.path().string() + " cannot be written: " + content.reason);
        return;
    }
    if (content.condition == IniFile::Condition::Damaged && !setDamagedAside()) {
        return;
    }
    if (const auto failure = file_.write(unsaved_)) {
        sayNotStored(failure->text);
        return;
    }
    writing_.over();
    unsaved_.clear();
}

bool IniSettings::setDamagedAside() {
    const auto aside = file_.setAside();
    if (!aside) {
        if (file_.read().condition != IniFile::Condition::Damaged) {
            return true; // another process was faster
        }
        sayNotStored(aside.error());
        return false;
    }
    console::write("the damaged settings are kept as " + aside.value().string());
    for (const auto& [key, items] : values()) {
        unsaved_.try_emplace(key, items); // the file starts again with all that is known
    }
    return true;
}

void IniSettings::sayNotStored(const std::string& reason) {
    writing_.say("settings are not stored, they hold until the end: " + reason);
}

void IniSettings::Complaint::say(const std::string& text) {
    if (text != said_) {
        console::write(text);
        said_ = text;
    }
}

} // namespace ovelo
