#include "ui/SettingLineEdit.h"

#include "platform/Settings.h"
#include "ui/Text.h"

#include <utility>

namespace ovelo {

SettingLineEdit::SettingLineEdit(Settings& settings, std::string key, Check check, Outcome outcome,
                                 WhenEmpty whenEmpty)
    : settings_(settings)
    , key_(std::move(key))
    , check_(std::move(check))
    , outcome_(std::move(outcome))
    , whenEmpty_(whenEmpty) {
    setObjectName(toQt(key_));
    connect(this, &QLineEdit::editingFinished, this, &SettingLineEdit::commit);
    settings_.changed().connect(sigc::mem_fun(*this, &SettingLineEdit::refresh));
    setText(stored());
}

void SettingLineEdit::retire() {
    disconnect(this, &QLineEdit::editingFinished, nullptr, nullptr);
}

void SettingLineEdit::commit() {
    setModified(false);
    const QString entered = keepsBlanks_ ? text() : text().trimmed();
    if (text() == stored() || entered == stored()) { // nothing to store, and no blank to take away
        setText(stored());
        return;
    }
    const std::optional<QString> refusal = check_(entered);
    if (refusal) {
        setText(stored());
    } else {
        store(entered);
    }
    outcome_(refusal);
}

void SettingLineEdit::store(const QString& entered) {
    if (entered.isEmpty() && whenEmpty_ == WhenEmpty::Remove) {
        settings_.remove(key_);
    } else {
        settings_.setString(key_, fromQt(entered));
    }
}

void SettingLineEdit::refresh() {
    // What the user is typing is not taken away; leaving the line settles it.
    if (isModified()) {
        return;
    }
    if (text() != stored()) {
        setText(stored());
    }
}

QString SettingLineEdit::stored() const {
    return toQt(settings_.string(key_).value_or(""));
}

} // namespace ovelo
