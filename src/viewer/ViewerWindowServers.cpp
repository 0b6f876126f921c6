#include "platform/Threads.h"
#include "viewer/ControlBar.h"
#include "viewer/PasswordDialog.h"
#include "viewer/PictureView.h"
#include "viewer/RecordingsPanel.h"
#include "viewer/ServerChooser.h"
#include "viewer/ViewerWindow.h"

#include <QLabel>

#include <utility>

namespace ovelo {

void ViewerWindow::begin() {
    if (arguments_.host.empty()) {
        search();
    } else {
        connectTo(arguments_.host, arguments_.port);
    }
}

void ViewerWindow::search() {
    view_->showMessage(QStringLiteral("Looking for servers on the local network…"));
    chooser_->showSearching();
    searcher_ = std::jthread([this](const std::stop_token& stop) {
        settleThread("server-finder");
        auto result = finder_.find(stop);
        if (!stop.stop_requested()) {
            // Dies with the window; the destructor waits for this thread.
            QMetaObject::invokeMethod(
                this, [this, result = std::move(result)] { searched(result); },
                Qt::QueuedConnection);
        }
    });
}

void ViewerWindow::searched(const Result<std::vector<FoundService>>& result) {
    const auto servers = result ? result.value() : std::vector<FoundService>();
    // A single one needs no choice, unless the user is just making one.
    if (servers.size() == 1 && !chooser_->isVisible()) {
        connectTo(servers.front().host, servers.front().port);
        return;
    }
    const auto problem = result ? QStringLiteral("No server was found on the local network.")
                                : QString::fromStdString(result.error());
    chooser_->showServers(servers, problem);
    if (!link_) {
        view_->showMessage(servers.empty() ? problem : QStringLiteral("Choose a server."));
    }
    chooser_->open();
}

void ViewerWindow::chooseServer() {
    chooser_->open();
    search();
}

/// What the last server told does not hold for the next.
void ViewerWindow::forgetServer() {
    sources_ = {};
    controls_->showSources(sources_);
    recordings_->forget();
    motion_ = {};
}

void ViewerWindow::connectTo(const std::string& host, std::uint16_t port) {
    if (host != arguments_.host || port != arguments_.port) {
        passwordKnown_ = arguments_.password.has_value();
        if (!arguments_.host.empty()) {
            arguments_.udpPort.reset(); // it was the other server that expects us there
        }
        forgetServer();
    }
    arguments_.host = host;
    arguments_.port = port;
    setWindowTitle(QStringLiteral("%1 – Ovelo Viewer").arg(serverText()));
    link_.reset(); // the old connection ends before the new one begins
    sessionClosed();
    passwordDialog_->hide();
    link_ = std::make_unique<WindowLink>(
        arguments_.connection(),
        WindowLink::Handlers{
            [this](const LinkState& state) { linkChanged(state); },
            [this](const ViewerEvent& event) {
                std::visit([this](const auto& what) { handle(what); }, event);
            },
        },
        sound_);
    link_->client().setDelay(arguments_.delay);
    if (arguments_.frameRate) {
        link_->client().setFrameRate(*arguments_.frameRate);
    }
    applySound();
    link_->start();
}

} // namespace ovelo
