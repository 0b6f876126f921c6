#pragma once

#include "platform/EDMailAgent.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// A mail server that tells what its agents were asked, and fails or waits as a test wishes.
class FakeMailServer {
public:
    /// One call of an agent, in words, as in "setPort 465".
    using Calls = std::vector<std::string>;

    /// What was sent, or was to be.
    struct Mail {
        EDMailAgent::Headers headers;
        std::string body;
        std::optional<Bytes> attachment;
        std::string attachmentName;
        EDMailAgent::AuthInfo authInfo;
    };

    std::function<std::unique_ptr<EDMailAgent>(const std::string&)> factory() {
        return [this](const std::string& host) -> std::unique_ptr<EDMailAgent> {
            note("host " + host);
            return std::make_unique<Agent>(*this);
        };
    }

    /// The next sendings fail with these reasons, one each; "" is success, as is everything after.
    void failWith(std::deque<std::string> reasons) {
        const std::lock_guard lock(lock_);
        reasons_ = std::move(reasons);
    }

    /// Makes each sending wait until open(true) or its stop request.
    void open(bool isOpen) {
        const std::lock_guard lock(lock_);
        isOpen_ = isOpen;
        changed_.notify_all();
    }

    [[nodiscard]] Calls calls() const {
        const std::lock_guard lock(lock_);
        return calls_;
    }
    [[nodiscard]] std::vector<Mail> mails() const {
        const std::lock_guard lock(lock_);
        return mails_;
    }

private:
    class Agent final : public EDMailAgent {
    public:
        explicit Agent(FakeMailServer& server) : server_(server) {}

        void setPort(int port) override { server_.note("setPort " + std::to_string(port)); }
        void setUsesSecureConnections(bool secure) override {
            server_.note(secure ? "secure" : "not secure");
        }
        void setSkipsExtensionTest(bool skips) override {
            server_.note(skips ? "skips the extension test" : "tests extensions");
        }
        void setAuthInfo(AuthInfo authInfo) override { mail_.authInfo = std::move(authInfo); }
        void setStopToken(std::stop_token stop) override { stop_ = std::move(stop); }
        void sendMailWithHeaders(const Headers& headers, const std::string& andBody) override {
            mail_.headers = headers;
            mail_.body = andBody;
            server_.take(mail_, stop_);
        }
        void sendMailWithHeaders(const Headers& headers, const std::string& body,
                                 const Data& andAttachment, const std::string& withName) override {
            mail_.attachment = *andAttachment;
            mail_.attachmentName = withName;
            sendMailWithHeaders(headers, body);
        }

    private:
        FakeMailServer& server_;
        std::stop_token stop_;
        Mail mail_;
    };

    void note(const std::string& call) {
        const std::lock_guard lock(lock_);
        calls_.push_back(call);
    }

    void take(const Mail& mail, const std::stop_token& stop) {
        std::unique_lock lock(lock_);
        calls_.emplace_back("send");
        mails_.push_back(mail);
        if (!changed_.wait(lock, stop, [&] { return isOpen_; })) {
            throw MailException("Sending was cancelled.");
        }
        if (reasons_.empty()) {
            return;
        }
        const std::string reason = reasons_.front();
        reasons_.pop_front();
        if (!reason.empty()) {
            throw MailException(reason);
        }
    }

    mutable std::mutex lock_;
    std::condition_variable_any changed_;
    Calls calls_;
    std::vector<Mail> mails_;
    std::deque<std::string> reasons_;
    bool isOpen_ = true;
};

} // namespace ovelo
