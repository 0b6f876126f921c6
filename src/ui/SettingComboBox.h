#pragma once

#include <QComboBox>

#include <sigc++/sigc++.h>

#include <string>
#include <utility>
#include <vector>

namespace ovelo {

class Settings;

/// A choice of texts that is one text of the settings store, both ways.
///
/// thread  main
class SettingComboBox final : public QComboBox, public sigc::trackable {
public:
    /// What is stored, and what the user reads.
    using Choices = std::vector<std::pair<std::string, QString>>;

    /// whenUnknown  what is shown as chosen while the store has no text, or another one
    SettingComboBox(Settings& settings, std::string key, const Choices& choices,
                    std::string whenUnknown);

private:
    void refresh();

    Settings& settings_;
    std::string key_;
    std::string whenUnknown_;
};

} // namespace ovelo
