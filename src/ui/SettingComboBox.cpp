#include "ui/SettingComboBox.h"

#include "platform/Settings.h"
#include "ui/Text.h"

#include <utility>

namespace ovelo {

SettingComboBox::SettingComboBox(Settings& settings, std::string key, const Choices& choices,
                                 std::string whenUnknown)
    : settings_(settings)
    , key_(std::move(key))
    , whenUnknown_(std::move(whenUnknown)) {
    setObjectName(toQt(key_));
    for (const auto& [stored, shown] : choices) {
        addItem(shown, toQt(stored));
    }
    // What the user chooses; refresh() emits none.
    connect(this, &QComboBox::activated, this,
            [this](int index) { settings_.setString(key_, fromQt(itemData(index).toString())); });
    settings_.changed().connect(sigc::mem_fun(*this, &SettingComboBox::refresh));
    refresh();
}

void SettingComboBox::refresh() {
    const int stored = findData(toQt(settings_.string(key_).value_or("")));
    setCurrentIndex(stored >= 0 ? stored : findData(toQt(whenUnknown_)));
}

} // namespace ovelo
