#include "platform/MemorySettings.h"

#include "platform/MainThread.h"
#include "platform/Numbers.h"

#include <strings.h>

#include <mutex>

namespace ovelo {

namespace {

std::string joined(const Settings::Array& items) {
    std::string text;
    for (const auto& item : items) {
        text += (&item == &items.front() ? "" : ", ") + item;
    }
    return text;
}

bool meansTrue(const std::string& text) {
    return !text.empty() && text != "0" && ::strcasecmp(text.c_str(), "false") != 0;
}

} // namespace

bool MemorySettings::contains(std::string_view key) const {
    const std::shared_lock lock(lock_);
    return values_.contains(key);
}

std::optional<Settings::Array> MemorySettings::array(std::string_view key) const {
    const std::shared_lock lock(lock_);
    const auto found = values_.find(key);
    if (found == values_.end()) {
        return std::nullopt;
    }
    return found->second;
}

std::optional<std::string> MemorySettings::string(std::string_view key) const {
    const std::shared_lock lock(lock_);
    const auto found = values_.find(key);
    if (found == values_.end()) {
        return std::nullopt;
    }
    return joined(found->second);
}

bool MemorySettings::boolean(std::string_view key) const {
    const std::shared_lock lock(lock_);
    const auto found = values_.find(key);
    return found != values_.end() && found->second.size() == 1 && meansTrue(found->second.front());
}

int MemorySettings::integer(std::string_view key) const {
    const auto text = string(key);
    return text ? numbers::leadingInteger(*text) : 0;
}

void MemorySettings::setString(std::string_view key, std::string_view value) {
    store(key, Array{std::string(value)});
}

void MemorySettings::setBoolean(std::string_view key, bool value) {
    setString(key, value ? "true" : "false");
}

void MemorySettings::setInteger(std::string_view key, int value) {
    setString(key, std::to_string(value));
}

void MemorySettings::setArray(std::string_view key, const Array& value) {
    store(key, value);
}

void MemorySettings::remove(std::string_view key) {
    store(key, std::nullopt);
}

std::vector<std::string> MemorySettings::keys() const {
    const std::shared_lock lock(lock_);
    std::vector<std::string> names;
    for (const auto& [key, value] : values_) {
        names.push_back(key);
    }
    return names;
}

MemorySettings::Values MemorySettings::values() const {
    const std::shared_lock lock(lock_);
    return values_;
}

void MemorySettings::replaceAll(Values values) {
    {
        const std::unique_lock lock(lock_);
        if (values_ == values) {
            return;
        }
        values_ = std::move(values);
    }
    announce();
}

void MemorySettings::store(std::string_view key, std::optional<Array> value) {
    {
        const std::unique_lock lock(lock_);
        if (value) {
            values_[std::string(key)] = *std::move(value);
        } else {
            values_.erase(std::string(key));
        }
    }
    announce();
}

void MemorySettings::announce() {
    if (noticePending_->exchange(true)) {
        return; // one notice for any number of changes, however long the main thread is busy
    }
    // Given, or dropped with the main loop: when the notice goes, the next change makes another.
    const std::shared_ptr<std::atomic<bool>> notice(
        noticePending_.get(), [kept = noticePending_](std::atomic<bool>* flag) { *flag = false; });
    MainThread::perform([this, notice, alive = std::weak_ptr(alive_)] {
        *notice = false; // what changes from here on is news
        if (!alive.expired()) {
            changed().emit();
        }
    });
}

} // namespace ovelo
