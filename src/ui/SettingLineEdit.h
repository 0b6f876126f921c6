#pragma once

#include <QLineEdit>

#include <sigc++/sigc++.h>

#include <functional>
#include <optional>
#include <string>

namespace ovelo {

class Settings;

/// A line that is one text of the settings store, both ways: stored when the user leaves it or
/// presses Return.
///
/// A text that will not do is put back to what is stored, and the reason told.
/// thread  main
class SettingLineEdit final : public QLineEdit, public sigc::trackable {
public:
    /// Why a text will not do; nothing when it will.
    using Check = std::function<std::optional<QString>(const QString& text)>;

    /// The outcome of an edit: the reason of a refusal, or nothing when it was stored.
    using Outcome = std::function<void(const std::optional<QString>& refusal)>;

    /// What an emptied line does: stores the empty text, or takes the key out of the store.
    enum class WhenEmpty { Store, Remove };

    SettingLineEdit(Settings& settings, std::string key, Check check, Outcome outcome,
                    WhenEmpty whenEmpty = WhenEmpty::Store);

    /// Blanks at both ends belong to the text, as in a password; else they are left out.
    void keepBlanks() { keepsBlanks_ = true; }

    /// Stores and tells nothing any more. Who gave `outcome` calls this at its end: a line that has
    /// the focus loses it while its window is destroyed, and would finish the edit then.
    void retire();

private:
    void commit();
    void store(const QString& entered);
    void refresh();
    [[nodiscard]] QString stored() const;

    Settings& settings_;
    std::string key_;
    Check check_;
    Outcome outcome_;
    WhenEmpty whenEmpty_;
    bool keepsBlanks_ = false;
};

} // namespace ovelo
