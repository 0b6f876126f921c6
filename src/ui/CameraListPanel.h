#pragma once

#include <QDialog>

#include <sigc++/sigc++.h>

#include <functional>

class QPushButton;
class QTableWidget;

namespace ovelo {

class CameraItemPanel;
class IPCamListController;

/// The panel with the table of the user's network cameras.
///
/// thread  main
class CameraListPanel final : public QDialog, public sigc::trackable {
public:
    /// close  called when the user has pressed Close or Escape: MyDocument::ipCamListClose
    CameraListPanel(IPCamListController& controller, std::function<void()> close, QWidget* window);

    void reject() override;

private:
    QWidget* table();
    QWidget* buttons();
    QPushButton* button(const char* name, const QString& text, const std::function<void()>& action);
    void reloadData();
    void rowChanged();
    void refreshButtons();

    IPCamListController& controller_;
    std::function<void()> close_;
    QTableWidget* myTableView_ = nullptr;
    QPushButton* edit_ = nullptr;
    QPushButton* delete_ = nullptr;
};

} // namespace ovelo
