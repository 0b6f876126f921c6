#pragma once

#include "support/UserAlerts.h"

#include <QPointer>

#include <string>
#include <vector>

class QMessageBox;

namespace ovelo {

/// Alerts as message boxes in front of everything else; without a display they are printed, and
/// answered at once with their default button.
///
/// An alert that is on the screen already, or the ninth one, is not shown: it counts as answered with
/// its default button. A web site could make any number of them while nobody is at the computer.
///
/// lifetime  its end closes what is shown, and answers nothing
class AlertBoxes final : public UserAlerts {
public:
    /// onScreen  false: alerts are printed on standard error
    explicit AlertBoxes(bool onScreen) : onScreen_(onScreen) {}
    ~AlertBoxes() override;
    AlertBoxes(const AlertBoxes&) = delete;
    AlertBoxes& operator=(const AlertBoxes&) = delete;

    void tell(const std::string& message, const std::string& informativeText,
              std::function<void()> closed) override;
    void ask(const Question& question, std::function<void(bool)> answer) override;

private:
    QMessageBox* makeBox(const std::string& message, const std::string& informativeText);

    const bool onScreen_;
    std::vector<QPointer<QMessageBox>> boxes_; // null when they are gone, hidden when they go
};

} // namespace ovelo
