#pragma once

#include <QDialog>

#include <sigc++/sigc++.h>

class QLabel;
class QLineEdit;
class QPushButton;

namespace ovelo {

class IPCamItemController;

/// The panel in which one network camera is edited and tested.
///
/// thread  main
class CameraItemPanel final : public QDialog, public sigc::trackable {
public:
    CameraItemPanel(IPCamItemController& controller, QWidget* window);

    /// The user has pressed Cancel or Escape.
    void reject() override;

private:
    QLineEdit* field(const char* name, const QString& accessibleName);
    QWidget* fields();
    QWidget* buttons();
    void showCam();
    void takeCam();
    void refreshTesting();
    void orderFront();

    IPCamItemController& controller_;
    QLineEdit* name_ = nullptr;
    QLineEdit* url_ = nullptr;
    QLineEdit* user_ = nullptr;
    QLineEdit* password_ = nullptr;
    QPushButton* test_ = nullptr;
    QLabel* testing_ = nullptr;
};

} // namespace ovelo
