#pragma once

#include "app/DocumentWindow.h"
#include "ui/ErrorSheets.h"

#include <QMainWindow>

#include <sigc++/sigc++.h>

#include <functional>

class QLabel;

namespace ovelo {

class AutoConfigPanel;
class CapturePreview;
class EmailHelpPanel;
class Logger;
class MyDocument;
class OptionsPanel;
class PortField;
class Settings;

/// The application's window: the live picture, the choosers, the state of the server, and the way
/// to the panels.
///
/// thread    main
/// lifetime  ends before the document does
class MainWindow final : public QMainWindow, public DocumentWindow, public sigc::trackable {
public:
    struct Environment {
        MyDocument& document;
        Settings& settings;
        Logger& log;
        bool
            onScreen; // false: nobody sees the window, so pictures stay away and errors are printed
        std::function<void()> quit; // the user wants the program to end
    };

    explicit MainWindow(Environment environment);
    ~MainWindow() override;

    /// Shows the window, unless nobody would see it or it was hidden for an agent before.
    void showUnlessHidden();

    void orderFront(Panel panel) override;
    void orderOut(Panel panel) override;
    [[nodiscard]] std::string emailText() const override;
    void setEmailText(const std::string& text) override;
    void presentError(const std::string& message, const std::string& informativeText) override;
    void runAlert(const std::string& message, const std::string& informativeText) override;
    void hideMainWindow() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildMenus();
    void buildFileMenu();
    void buildCameraMenu();
    void buildViewMenu();
    void buildHelpMenu();
    void buildContent();
    QWidget* pictureColumn();
    QWidget* sideColumn();
    QWidget* serverPart();
    QWidget* footPart();
    QDialog* dialog(Panel panel);
    void openRecordings();
    void about();
    void documentChanged(const std::string& property);
    void refreshPreview();
    void buildMarks();
    void refreshMarks();

    Environment environment_;
    ErrorSheets errors_;
    CapturePreview* preview_ = nullptr;
    PortField* port_ = nullptr;
    QLabel* recordingMark_ = nullptr;
    QLabel* sendingMark_ = nullptr;
    bool hiddenForAgent_ = false;

    // Made when they are needed first, so that the start does not wait for them.
    OptionsPanel* options_ = nullptr;
    AutoConfigPanel* autoConfig_ = nullptr;
    EmailHelpPanel* emailHelp_ = nullptr;
};

} // namespace ovelo
