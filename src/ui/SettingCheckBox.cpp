#include "ui/SettingCheckBox.h"

#include "platform/Settings.h"
#include "ui/Text.h"

namespace ovelo {

SettingCheckBox::SettingCheckBox(Settings& settings, std::string key, const QString& label,
                                 bool whenAbsent)
    : QCheckBox(label)
    , settings_(settings)
    , key_(std::move(key))
    , whenAbsent_(whenAbsent) {
    setObjectName(toQt(key_));
    // A click is the user's doing alone; refresh() emits none.
    connect(this, &QCheckBox::clicked, this, [this](bool on) { settings_.setBoolean(key_, on); });
    settings_.changed().connect(sigc::mem_fun(*this, &SettingCheckBox::refresh));
    refresh();
}

void SettingCheckBox::refresh() {
    setChecked(settings_.contains(key_) ? settings_.boolean(key_) : whenAbsent_);
}

} // namespace ovelo
