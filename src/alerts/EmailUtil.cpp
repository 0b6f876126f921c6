#include "alerts/EmailUtil.h"

#include "platform/Assert.h"
#include "platform/MainThread.h"
#include "platform/Numbers.h"
#include "platform/Settings.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <exception>
#include <mutex>
#include <utility>

namespace ovelo {

namespace {

constexpr const char* kTestSubject = "Test Message from Ovelo";
constexpr const char* kTestBody = "This is a test message from Ovelo.";
constexpr const char* kMotionSubject = "Message from Ovelo Motion Detector";
constexpr const char* kMotionBody =
    "A motion has been detected from your webcam.  Please see the attached image.  You may also "
    "view your webcam from Ovelo on your iPhone/iPod.";
constexpr const char* kPictureName = "Ovelo.jpeg";

EDMailAgent::Headers headers(const std::string& email, const char* subject) {
    return {{std::string(EDMailTo), email},
            {std::string(EDMailFrom), email},
            {std::string(EDMailSubject), subject}};
}

} // namespace

/// The single instance and what it is made of. The lock is not held while a mail's thread ends.
struct EmailUtil::Shared {
    std::mutex lock;
    std::optional<Environment> environment;
    std::unique_ptr<EmailUtil> instance;
};

EmailUtil::Shared& EmailUtil::shared() {
    static Shared state;
    return state;
}

void EmailUtil::install(Environment environment) {
    Shared& state = shared();
    const std::lock_guard lock(state.lock);
    state.environment.emplace(std::move(environment));
}

EmailUtil& EmailUtil::sharedInstance() {
    Shared& state = shared();
    const std::lock_guard lock(state.lock);
    if (!state.instance) {
        OVELO_ASSERT(state.environment.has_value(), "install() comes before sharedInstance()");
        state.instance = std::make_unique<EmailUtil>(*state.environment);
    }
    return *state.instance;
}

void EmailUtil::deleteSharedInstance() {
    Shared& state = shared();
    std::unique_ptr<EmailUtil> instance;
    const std::lock_guard lock(state.lock);
    instance.swap(state.instance);
}

EmailUtil::EmailUtil(Environment environment) : environment_(std::move(environment)) {
}

EmailUtil::~EmailUtil() {
    threads_.stop();
}

void EmailUtil::sendMotionEmail(const Data& jpeg) {
    try {
        const bool isStarted = threads_.start(
            kMailsAtOnce,
            [this, jpeg](const std::stop_token& stop) { sendEmailThread(jpeg, stop); },
            [this] { announce(); });
        if (!isStarted) {
            environment_.log.write("Email dropped: too many are being sent\n");
        }
        announce();
    } catch (const std::exception& failure) {
        environment_.log.write(fmt::format("Email error: {}\n", failure.what()));
    }
}

void EmailUtil::sendEmailThread(const Data& jpeg, const std::stop_token& stop) {
    if (const auto settings = account()) {
        static_cast<void>(send(*settings,
                               {.headers = headers(settings->email, kMotionSubject),
                                .body = kMotionBody,
                                .hasPicture = true,
                                .picture = jpeg},
                               stop));
    }
}

void EmailUtil::sendTestEmail(const AlertFunction& alert) {
    if (isTesting_) {
        return;
    }
    isTesting_ = true;
    const auto settings = account();
    if (!settings) {
        endTest({"Unable to send Email", "Host or Email Address is invalid."}, alert);
        return;
    }
    try {
        startTest(*settings, alert);
    } catch (const std::exception& failure) {
        environment_.log.write(fmt::format("Email error: {}\n", failure.what()));
        endTest(failed(failure.what()), alert);
    }
}

void EmailUtil::startTest(const Account& account, const AlertFunction& alert) {
    const auto outcome = std::make_shared<Outcome>();
    const bool isStarted = threads_.start(
        kMailsAtOnce + 1, // the user does not wait for alerts that hang
        [=, this](const std::stop_token& stop) { *outcome = runTest(account, stop); },
        [=, this] {
            announce(); // before the alert, which waits for the user
            onMainThread([=, this] { endTest(*outcome, alert); });
        });
    if (!isStarted) {
        throw MailException("Too many mails are being sent.");
    }
    announce();
}

EmailUtil::Outcome EmailUtil::runTest(const Account& account, const std::stop_token& stop) const {
    const auto failure =
        send(account, {.headers = headers(account.email, kTestSubject), .body = kTestBody}, stop);
    if (failure) {
        return failed(*failure);
    }
    return {fmt::format("Email is sent to {} successfully.", account.email), ""};
}

EmailUtil::Outcome EmailUtil::failed(const std::string& reason) {
    return {"Failed to send Email.", fmt::format("Error: {}", reason)};
}

void EmailUtil::endTest(const Outcome& outcome, const AlertFunction& alert) {
    const std::weak_ptr<bool> self = alive_; // the alert serves the main loop, which may end us
    alert(outcome.message, outcome.informativeText);
    if (!self.expired()) {
        isTesting_ = false;
        announce();
    }
}

std::optional<EmailUtil::Account> EmailUtil::account() const {
    const Settings& settings = environment_.settings;
    const auto email = settings.string("smtpEmail");
    const auto host = settings.string("smtpHost");
    if (!email || !host) {
        return std::nullopt;
    }
    return Account{.host = *host,
                   .email = *email,
                   .port = settings.string("smtpPort"),
                   .login = settings.string("smtpLogin").value_or(""),
                   .password = settings.string("smtpPass").value_or(""),
                   .isSecure = !settings.contains("smtpSsl") || settings.boolean("smtpSsl")};
}

/// return  why it could not be sent, nothing when it was
std::optional<std::string> EmailUtil::send(const Account& account, const Mail& mail,
                                           const std::stop_token& stop) const {
    // sic: "Sendig"
    environment_.log.write(
        fmt::format("Sendig Email to {}, SMTP Host {}\n", account.email, account.host));
    std::string reason;
    for (const bool skipsExtensionTest : {false, true}) {
        try {
            attempt(account, mail, skipsExtensionTest, stop);
            return std::nullopt;
        } catch (const std::exception& failure) {
            reason = failure.what();
        }
        if (stop.stop_requested()) {
            break;
        }
    }
    environment_.log.write(fmt::format("Email error: {}\n", reason));
    return reason;
}

void EmailUtil::attempt(const Account& account, const Mail& mail, bool skipsExtensionTest,
                        const std::stop_token& stop) const {
    const auto agent = environment_.agent(account.host);
    agent->setStopToken(stop);
    if (skipsExtensionTest) {
        agent->setSkipsExtensionTest(true);
    }
    if (account.port && !account.port->empty()) {
        agent->setPort(numbers::leadingInteger(*account.port));
    }
    agent->setUsesSecureConnections(account.isSecure);
    EDMailAgent::AuthInfo authInfo;
    if (!account.login.empty()) {
        authInfo.emplace(EDSMTPUserName, account.login);
        if (!account.password.empty()) {
            authInfo.emplace(EDSMTPPassword, account.password);
        }
    }
    agent->setAuthInfo(std::move(authInfo));
    if (mail.hasPicture) {
        agent->sendMailWithHeaders(mail.headers, mail.body, mail.picture, kPictureName);
    } else {
        agent->sendMailWithHeaders(mail.headers, mail.body);
    }
}

void EmailUtil::announce() {
    onMainThread([this] { sendingChanged_.emit(); });
}

/// A call that comes too late, when the object has ended, does nothing.
void EmailUtil::onMainThread(std::function<void()> call) {
    MainThread::perform([call = std::move(call), alive = std::weak_ptr<bool>(alive_)] {
        if (!alive.expired()) {
            call();
        }
    });
}

} // namespace ovelo
