#include "ui/OveloApplication.h"

#include "alerts/EmailUtil.h"
#include "alerts/PushNotifier.h"
#include "app/MovieOutputFactory.h"
#include "nat/NATBuster.h"
#include "nat/stunServers.h"
#include "platform/Folders.h"
#include "platform/HostAddresses.h"
#include "platform/IniSettings.h"
#include "platform/MainThread.h"
#include "platform/Movie.h"
#include "platform/ServicePublisher.h"
#include "support/Logger.h"
#include "ui/AccountWindow.h"
#include "ui/ConsolePrompt.h"
#include "ui/Display.h"
#include "ui/Icons.h"
#include "ui/MainWindow.h"
#include "ui/Services.h"
#include "ui/TerminationSignals.h"

#include <QTimer>

#include <clocale>
#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

OveloApplication::OveloApplication(int& argc, char** argv, TerminationSignals& signals)
    : application_(argc, argv)
    , signals_(signals) {
    // Qt has set the user's; numbers in settings and from viewers are written with a point
    // everywhere.
    std::setlocale(LC_NUMERIC, "C");
    QApplication::setApplicationName(u"Ovelo"_s);
    QApplication::setApplicationVersion(QStringLiteral(OVELO_VERSION));
    QApplication::setDesktopFileName(u"ovelo"_s);
    QApplication::setQuitOnLastWindowClosed(false);
    auto settings = std::make_unique<IniSettings>();
    settings->watch();
    Settings::install(std::move(settings));

    const bool onScreen = display::isPresent();
    if (onScreen) {
        QApplication::setWindowIcon(icons::application());
    }
    makePrompt(onScreen);
    services_ =
        std::make_unique<Services>(Settings::sharedInstance(), Logger::sharedInstance(), onScreen);
    makeDocument();
    makeWindow(onScreen);
}

OveloApplication::~OveloApplication() {
    signals_.ignore();
}

int OveloApplication::run() {
    signals_.notify([this] { askToEnd(); });
    // From inside the loop, because the account window and the wait for the account need one.
    QTimer::singleShot(0, &application_, [this] { start(); });
    return QApplication::exec();
}

void OveloApplication::makePrompt(bool onScreen) {
    Settings& settings = Settings::sharedInstance();
    if (onScreen) {
        prompt_ = std::make_unique<AccountWindow>(settings);
    } else {
        prompt_ = std::make_unique<ConsolePrompt>(settings);
    }
    prompt_->onQuit([this] { askToEnd(); });
}

void OveloApplication::makeDocument() {
    Settings& settings = Settings::sharedInstance();
    Logger& log = Logger::sharedInstance();
    document_ = std::make_unique<MyDocument>(MyDocument::Environment{
        .settings = settings,
        .log = log,
        .clock = Clock::system(),
        .devices = services_->devices(),
        .sound = services_->sound(),
        .cameras = &services_->cameras(),
        .prompt = *prompt_,
        .publisher = &ServicePublisher::create,
        .movieOutput = movieOutputFactory(settings, Clock::system(), log),
        .openMovie = &Movie::open,
        .email = EmailUtil::sharedInstance(),
        .push =
            [](const std::string& devID, const std::string& message, int badgeNumber) {
                PushNotifier::sharedInstance().sendPushNotification(devID, message, badgeNumber);
            },
        .cameraList = &services_->cameraList(),
        .updates = &services_->updates(),
        .router = &services_->router(),
        .http = &services_->http(),
        .resources = folders::resources(),
        .internet = {.natBuster =
                         [this, &settings, &log](int wakeFd) {
                             return std::make_unique<NATBuster>(NATBuster::Environment{
                                 services_->http(), settings, log,
                                 StunRegistration::Functions::overTheNetwork(wakeFd),
                                 [&settings] { return stunServers(settings); }, &hostAddresses});
                         }},
    });
}

void OveloApplication::makeWindow(bool onScreen) {
    window_ = std::make_unique<MainWindow>(MainWindow::Environment{
        .document = *document_,
        .settings = Settings::sharedInstance(),
        .log = Logger::sharedInstance(),
        .cameraList = &services_->cameraList(),
        .updates = &services_->updates(),
        .onScreen = onScreen,
        .quit = [this] { askToEnd(); },
    });
}

void OveloApplication::start() {
    if (phase_ != Phase::Waiting) {
        return;
    }
    phase_ = Phase::Starting;
    document_->windowControllerDidLoadNib(*window_);
    phase_ = Phase::Running;
    if (askedToEnd_) {
        end();
        return;
    }
    // Only now: viewers can connect before the screen is drawn, and an agent's window never flashes
    // up.
    window_->showUnlessHidden();
}

void OveloApplication::askToEnd() {
    askedToEnd_ = true;
    prompt_->cancel();
    // In the middle of the start, its own end leads to ours.
    if (phase_ != Phase::Starting) {
        end();
    }
}

void OveloApplication::end() {
    if (phase_ == Phase::Ended) {
        return;
    }
    phase_ = Phase::Ended;
    window_->hide();
    document_->windowWillClose();
    MainThread::end(); // a session that still wants something is let go, so that it can be joined
    QApplication::exit(0);
}

} // namespace ovelo
