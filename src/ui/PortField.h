#pragma once

#include <QWidget>

#include <sigc++/sigc++.h>

#include <cstdint>
#include <functional>

class QLabel;
class QPushButton;

namespace ovelo {

class SettingLineEdit;
class Settings;

/// The viewer server's port: a field, a button that puts the default back, and a line that tells
/// what will come of it.
///
/// thread  main
class PortField final : public QWidget, public sigc::trackable {
public:
    /// usedPort  the port that the server listens on; 0 when it does not listen
    /// chooseDefault  stores the default port
    PortField(Settings& settings, std::function<std::uint16_t()> usedPort,
              std::function<void()> chooseDefault);
    ~PortField() override;

    /// Where a form's label sends the focus.
    [[nodiscard]] QWidget* editor() const;

    /// Tells again what the stored port means. To be called when the server starts or stops
    /// listening, too.
    void refresh();

private:
    void say(const QString& text);

    Settings& settings_;
    std::function<std::uint16_t()> usedPort_;
    SettingLineEdit* edit_ = nullptr;
    QLabel* hint_ = nullptr;
};

} // namespace ovelo
