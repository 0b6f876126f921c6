#pragma once

#include "platform/ServicePublisher.h"
#include "server/AccountPrompt.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// Answers the question for the account.
class FakePrompt final : public AccountPrompt {
public:
    bool runModal(Network& network) override {
        ++asked;
        return answer ? answer(network) : false;
    }
    void showAlert(const std::string& message, const std::string& informativeText) override {
        alerts.push_back(message + " / " + informativeText);
    }

    int asked = 0;
    std::function<bool(Network&)> answer;
    std::vector<std::string> alerts;
};

/// Announces nothing, and remembers what was to be announced.
struct FakePublisher {
    struct Service final : ServicePublisher {
        Service(FakePublisher& owner, PublishedService what, Delegate& delegate)
            : owner_(owner)
            , what_(std::move(what))
            , delegate_(delegate) {}
        void publish() override {
            owner_.published.push_back(what_);
            if (owner_.errorCode == 0) {
                delegate_.netServiceWillPublish(what_);
            } else {
                delegate_.netServiceDidNotPublish(what_, owner_.errorCode);
            }
        }
        void stop() override { delegate_.netServiceDidStop(what_); }

    private:
        FakePublisher& owner_;
        PublishedService what_;
        Delegate& delegate_;
    };

    bool available = true;
    int errorCode = 0;
    std::vector<PublishedService> published;
};

} // namespace ovelo
