#pragma once

#include <sigc++/sigc++.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

/// The user's settings: a persistent store of keys and typed values.
///
/// A write is stored and flushed before it returns. docs/settings.md lists the keys.
///
/// thread  any; a read touches memory only
class Settings {
public:
    using Array = std::vector<std::string>;

    Settings() = default;
    virtual ~Settings() = default;
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    [[nodiscard]] virtual bool contains(std::string_view key) const = 0;

    /// The text, when the key is present; an array reads as its items joined with ", ".
    [[nodiscard]] virtual std::optional<std::string> string(std::string_view key) const = 0;

    /// False when absent, "", "0" or "false" (in any letter case), else true.
    [[nodiscard]] virtual bool boolean(std::string_view key) const = 0;

    /// The leading decimal number of the text; 0 when absent or no number.
    [[nodiscard]] virtual int integer(std::string_view key) const = 0;

    /// The items, when the key is present; a plain text reads as one item.
    [[nodiscard]] virtual std::optional<Array> array(std::string_view key) const = 0;

    virtual void setString(std::string_view key, std::string_view value) = 0;
    virtual void setBoolean(std::string_view key, bool value) = 0;
    virtual void setInteger(std::string_view key, int value) = 0;
    virtual void setArray(std::string_view key, const Array& value) = 0;
    virtual void remove(std::string_view key) = 0;

    /// All keys, sorted.
    [[nodiscard]] virtual std::vector<std::string> keys() const = 0;

    /// Told after any change, whoever made it. Connect on the main thread; emitted there.
    sigc::signal<void()>& changed() { return changed_; }

    /// The process's settings, as installed.
    static Settings& sharedInstance();

    /// Sets the process's settings; the program's start does so once, tests as they like.
    static void install(std::unique_ptr<Settings> settings);

private:
    sigc::signal<void()> changed_;
};

} // namespace ovelo
