#pragma once

#include "platform/Settings.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <shared_mutex>

namespace ovelo {

/// Settings that live in memory: what tests use, and the fast half of IniSettings.
class MemorySettings : public Settings {
public:
    /// One value as it is stored: a list of texts; a plain text is a list of one.
    using Values = std::map<std::string, Array, std::less<>>;

    [[nodiscard]] bool contains(std::string_view key) const override;
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override;
    [[nodiscard]] bool boolean(std::string_view key) const override;
    [[nodiscard]] int integer(std::string_view key) const override;
    [[nodiscard]] std::optional<Array> array(std::string_view key) const override;
    void setString(std::string_view key, std::string_view value) override;
    void setBoolean(std::string_view key, bool value) override;
    void setInteger(std::string_view key, int value) override;
    void setArray(std::string_view key, const Array& value) override;
    void remove(std::string_view key) override;
    [[nodiscard]] std::vector<std::string> keys() const override;

protected:
    /// Sets a value, or removes it (none), and announces it. Every write comes through here.
    virtual void store(std::string_view key, std::optional<Array> value);

    /// Replaces everything, and announces it when anything was different.
    void replaceAll(Values values);

    [[nodiscard]] Values values() const;

private:
    void announce();

    mutable std::shared_mutex lock_; // a leaf: nothing is called while it is held
    Values values_;
    const std::shared_ptr<std::atomic<bool>> noticePending_ =
        std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<const bool> alive_ =
        std::make_shared<const bool>(true); // for announcements under way
};

} // namespace ovelo
