#pragma once

#include <QCheckBox>

#include <sigc++/sigc++.h>

#include <string>

namespace ovelo {

class Settings;

/// A check box that is one boolean of the settings store, both ways.
///
/// thread  main
class SettingCheckBox final : public QCheckBox, public sigc::trackable {
public:
    /// whenAbsent  what the program does when the store has no such key
    SettingCheckBox(Settings& settings, std::string key, const QString& label,
                    bool whenAbsent = false);

private:
    void refresh();

    Settings& settings_;
    std::string key_;
    bool whenAbsent_;
};

} // namespace ovelo
