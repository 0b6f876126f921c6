#pragma once

#include "alerts/MailThreads.h"
#include "platform/Data.h"
#include "platform/EDMailAgent.h"

#include <sigc++/sigc++.h>

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace ovelo {

class Logger;
class Settings;

/// Sends mail to the user, from the user, through the user's own mail server: an alert with a
/// picture when something moved, and a test message.
///
/// Each mail is tried twice, on a thread of its own, with the settings of the moment. Failures go to
/// the event log; those of a test message to the user as well.
///
/// lifetime  the destructor ends what is being sent and waits for the threads, at most some tenths
///           of a second
class EmailUtil final {
public:
    /// Makes an agent for a mail server; EDMailAgent::mailAgentForRelayHostWithName. Called on the
    /// mails' threads.
    using AgentFactory = std::function<std::unique_ptr<EDMailAgent>(const std::string& host)>;

    /// Shows an alert with an "OK" button.
    using AlertFunction =
        std::function<void(const std::string& message, const std::string& informativeText)>;

    /// What a mail is sent with; all of it outlives the object.
    struct Environment {
        const Settings& settings;
        Logger& log;
        AgentFactory agent;
    };

    static constexpr std::size_t kMailsAtOnce = 4;

    /// Says what the single instance works with. The program's start does so, before anybody asks
    /// for the instance.
    static void install(Environment environment);

    /// The single instance, made when it is first asked for. Any thread.
    static EmailUtil& sharedInstance();

    /// Destroys it, if there is one. Main thread; nobody uses it any more.
    static void deleteSharedInstance();

    explicit EmailUtil(Environment environment);
    ~EmailUtil();
    EmailUtil(const EmailUtil&) = delete;
    EmailUtil& operator=(const EmailUtil&) = delete;

    /// Starts to send the alert and returns at once. When four mails are being sent already it is
    /// dropped, which the log tells.
    ///
    /// errors  none: they go to the log
    /// thread  any
    void sendMotionEmail(const Data& jpeg);

    /// Sends the alert, and returns when that is done or has failed. Nothing without a mail server
    /// or an address in the settings.
    ///
    /// thread  any but the main one, which the network may keep waiting
    void sendEmailThread(const Data& jpeg, const std::stop_token& stop = {});

    /// Starts to send the test message, and returns at once. `alert` is called on the main thread
    /// when it is sent or has failed, but not after the end of the object. While a test message is
    /// under way, its alert included, another call is ignored.
    ///
    /// thread  main
    void sendTestEmail(const AlertFunction& alert);

    /// True while a mail is being sent, alerts included.
    [[nodiscard]] bool isSending() const { return threads_.running() > 0; }

    /// True from sendTestEmail() until its alert is over.
    [[nodiscard]] bool isTesting() const { return isTesting_; }

    /// isSending() or isTesting() may have changed. Main thread.
    sigc::signal<void()>& sendingChanged() { return sendingChanged_; }

private:
    /// The settings of one mail.
    struct Account {
        std::string host;
        std::string email;
        std::optional<std::string> port;
        std::string login;
        std::string password;
        bool isSecure = true;
    };

    /// What is handed to the agent: a text, and the picture of an alert.
    struct Mail {
        EDMailAgent::Headers headers;
        std::string body;
        bool hasPicture = false;
        Data picture{};
    };

    /// What the user is told about a test message.
    struct Outcome {
        std::string message;
        std::string informativeText;
    };

    struct Shared;

    [[nodiscard]] std::optional<Account> account() const;
    [[nodiscard]] std::optional<std::string> send(const Account& account, const Mail& mail,
                                                  const std::stop_token& stop) const;
    void attempt(const Account& account, const Mail& mail, bool skipsExtensionTest,
                 const std::stop_token& stop) const;
    void startTest(const Account& account, const AlertFunction& alert);
    [[nodiscard]] Outcome runTest(const Account& account, const std::stop_token& stop) const;
    [[nodiscard]] static Outcome failed(const std::string& reason);
    void endTest(const Outcome& outcome, const AlertFunction& alert);
    void announce();
    void onMainThread(std::function<void()> call);

    static Shared& shared();

    const Environment environment_;
    bool isTesting_ = false; // the main thread's
    sigc::signal<void()> sendingChanged_;
    const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true); // for calls under way
    MailThreads threads_; // last: its threads use the rest
};

} // namespace ovelo
