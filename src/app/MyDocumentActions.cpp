// The actions of the main window.

#include "alerts/EmailUtil.h"
#include "app/DocumentWindow.h"
#include "app/MyDocument.h"
#include "ipcam/IPCamListController.h"
#include "nat/TcpNatBuster.h"
#include "platform/Desktop.h"
#include "platform/Mutex.h"
#include "platform/Settings.h"
#include "support/MyUtil.h"

#include <fstream>
#include <iterator>

namespace ovelo {

namespace {

constexpr const char* kRemoteAccessHelp = "/iphone/ovelo/remote.aspx";

/// return  empty when the file cannot be read
std::string textOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

void MyDocument::rotateRight() {
    rotateBy(1);
}

void MyDocument::rotateLeft() {
    rotateBy(-1);
}

void MyDocument::rotateBy(int quarterTurns) {
    constexpr int kQuarters = 4;
    // Viewers turn on their own threads; none of two turns may be lost.
    static Mutex turning{LockRank::Transport};
    const MutexLock lock(turning);
    const int turned = environment_.settings.integer("rotate_val") % kQuarters + quarterTurns;
    environment_.settings.setInteger("rotate_val", (turned + kQuarters) % kQuarters);
}

void MyDocument::defaultButton() {
    environment_.settings.setString("port", "1726");
}

bool MyDocument::browseButton() {
    return desktop::openFolder(MyUtil::getRecordedDirectory());
}

void MyDocument::natAutoConfigButton() {
    window_->orderFront(Panel::AutoConfig);
}

void MyDocument::startNatoAutoConfig() {
    if (tcpNatBuster_) {
        tcpNatBuster_->startNatAutoConfig(true);
    }
    window_->orderOut(Panel::AutoConfig);
}

std::string MyDocument::reachability() const {
    return tcpNatBuster_ ? tcpNatBuster_->reachability() : std::string();
}

void MyDocument::closeNatAutoPanel() {
    window_->orderOut(Panel::AutoConfig);
}

void MyDocument::natManualConfigButton() {
    const auto host = environment_.settings.string("webUrl");
    if (!host) {
        window_->presentError("There is no help page.",
                              "The setting \"webUrl\" names the web site that has it.");
        return;
    }
    if (!desktop::openUrl(*host + kRemoteAccessHelp)) {
        window_->presentError("The help page could not be opened.", *host + kRemoteAccessHelp);
    }
}

void MyDocument::testEmail() {
    environment_.email.sendTestEmail(
        [this](const std::string& message, const std::string& informativeText) {
            showAlert(message, informativeText);
        });
}

bool MyDocument::isSendingEmail() const {
    return environment_.email.isSending();
}

bool MyDocument::isTestingEmail() const {
    return environment_.email.isTesting();
}

void MyDocument::showAlert(const std::string& message, const std::string& informativeText) {
    if (!closed_ && window_ != nullptr) {
        window_->runAlert(message, informativeText);
    }
}

void MyDocument::helpEmail() {
    if (window_->emailText().empty()) {
        const std::string text = textOf(environment_.resources / "EmailHelp.txt");
        if (!text.empty()) {
            window_->setEmailText(text);
        }
    }
    window_->orderFront(Panel::EmailHelp);
}

void MyDocument::helpClose() {
    window_->orderOut(Panel::EmailHelp);
}

void MyDocument::ipCamListButton() {
    window_->orderFront(Panel::CameraList);
}

void MyDocument::ipCamListClose() {
    if (environment_.cameraList != nullptr) {
        environment_.cameraList->closeAction();
    }
    window_->orderOut(Panel::CameraList);
    sources_.dropVideoDeviceNames();
    sources_.refreshDevices();
}

void MyDocument::closeOption() {
    window_->orderOut(Panel::Options);
}

} // namespace ovelo
