#pragma once

#include "viewer/DataSourceList.h"
#include "viewer/ServerFinder.h"
#include "viewer/ViewerArguments.h"
#include "viewer/WindowLink.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QTimer>

#include <memory>
#include <thread>

class QLabel;

namespace ovelo {

class ControlBar;
class PasswordDialog;
class PictureView;
class ServerChooser;

/// The viewer's window: the picture of one server, and what can be set about it.
///
/// thread  main
class ViewerWindow final : public QMainWindow {
public:
    explicit ViewerWindow(ViewerArguments arguments, ServerFinder finder = ServerFinder());
    ~ViewerWindow() override;

    /// Connects to the server of the arguments, or looks for one.
    void begin();

    [[nodiscard]] const PictureView& picture() const { return *view_; }
    [[nodiscard]] PasswordDialog& passwordDialog() { return *passwordDialog_; }
    [[nodiscard]] ServerChooser& chooser() { return *chooser_; }

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    // Building. ViewerWindow.cpp
    void buildContents();
    void buildMenus();
    void addAction(QMenu* menu, const QString& text, const QList<QKeySequence>& keys,
                   const std::function<void()>& action);
    void addCameraActions(QMenu* menu);
    void setFullScreen(bool full);

    // Finding a server. ViewerWindowServers.cpp
    void search();
    void searched(const Result<std::vector<FoundService>>& result);
    void chooseServer();
    void connectTo(const std::string& host, std::uint16_t port);

    // What the server says. ViewerWindowEvents.cpp
    void linkChanged(const LinkState& state);
    void handle(const GreetingEvent& event);
    void handle(const AuthenticationEvent& event);
    void handle(const TextEvent& event);
    void handle(const ViewerBlock& block);
    void handle(const LostEvent& /*event*/) {} // a state of the link
    void askPassword(bool wrong);
    void passwordRefusedByUser();
    void sessionOpen(bool started);
    void chooseSource(const std::string& name);
    void tick();
    void updateRate();
    void showServer(const QString& text);
    [[nodiscard]] QString serverText() const;

    ViewerArguments arguments_;
    ServerFinder finder_;
    PictureView* view_ = nullptr;
    ControlBar* controls_ = nullptr;
    QLabel* serverLabel_ = nullptr;
    QLabel* rateLabel_ = nullptr;
    QLabel* sizeLabel_ = nullptr;
    ServerChooser* chooser_ = nullptr;
    PasswordDialog* passwordDialog_ = nullptr;
    QTimer ticker_;

    DataSourceList sources_;
    bool open_ = false;          // the server has let us in
    bool passwordKnown_ = false; // the client answers the greeting by itself
    bool sourceChosen_ = false;  // the one of the command line
    LinkState state_;
    QElapsedTimer sinceState_;
    QElapsedTimer sincePicture_; // invalid: none since the session is open
    QElapsedTimer sinceRate_;
    int picturesSinceRate_ = 0;

    std::unique_ptr<WindowLink> link_;
    std::jthread searcher_; // last: its thread posts to the window
};

} // namespace ovelo
