#pragma once

#include <QDialog>

#include <functional>
#include <string>

class QCheckBox;
class QComboBox;

namespace ovelo {

/// What the server is to do when something moves.
struct MotionSettings {
    std::string sense = "Low"; // Low, Medium or High
    bool email = false;
    bool record = false;
    bool push = false;
};

/// Lets the user choose the server's motion settings.
///
/// thread  main
class MotionDialog final : public QDialog {
public:
    /// accepted  called with what was chosen
    MotionDialog(std::function<void(const MotionSettings&)> accepted, QWidget* parent);

    void ask(const MotionSettings& current);

private:
    void build();

    std::function<void(const MotionSettings&)> accepted_;
    QComboBox* sense_;
    QCheckBox* email_;
    QCheckBox* record_;
    QCheckBox* push_;
};

} // namespace ovelo
