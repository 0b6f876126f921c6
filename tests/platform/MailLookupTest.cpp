// A name that takes long to be looked up. libcurl calls this program's getaddrinfo.

#include "fakes/Eventually.h"
#include "platform/EDMailAgent.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <string>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

/// Holds back who looks up a name. Never destroyed: threads of the library may stay in it.
class Gate {
public:
    static Gate& shared() {
        static auto* gate = new Gate;
        return *gate;
    }

    void pass() {
        std::unique_lock lock(lock_);
        ++waiting_;
        changed_.wait(lock, [this] { return isOpen_; });
        --waiting_;
    }
    void open(bool isOpen) {
        const std::lock_guard lock(lock_);
        isOpen_ = isOpen;
        changed_.notify_all();
    }
    int waiting() {
        const std::lock_guard lock(lock_);
        return waiting_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    int waiting_ = 0;
    bool isOpen_ = false;
};

class MailLookupTest : public ::testing::Test {
protected:
    ~MailLookupTest() override {
        Gate::shared().open(true);
        EXPECT_TRUE(eventually([] { return Gate::shared().waiting() == 0; }));
    }

    static std::string sending(const std::stop_token& stop, std::chrono::milliseconds limit,
                               bool skips) {
        EDMailAgent::Options options;
        options.connectLimit = limit;
        try {
            const auto agent = EDMailAgent::mailAgentForRelayHostWithName("slow.invalid", options);
            agent->setStopToken(stop);
            agent->setSkipsExtensionTest(skips);
            agent->sendMailWithHeaders({{std::string(EDMailTo), "me@example.org"},
                                        {std::string(EDMailFrom), "me@example.org"}},
                                       "Body");
            return "";
        } catch (const MailException& failure) {
            return failure.what();
        }
    }
};

TEST_F(MailLookupTest, WaitForANameIsCancelledAtOnce) {
    Gate::shared().open(false);
    for (const bool skips : {false, true}) {
        const int before = Gate::shared().waiting();
        std::stop_source stop;
        auto outcome =
            std::async(std::launch::async, [&] { return sending(stop.get_token(), 20s, skips); });
        ASSERT_TRUE(eventually([&] { return Gate::shared().waiting() > before; }));
        const auto start = std::chrono::steady_clock::now();

        stop.request_stop();

        EXPECT_EQ(outcome.get(), "Sending was cancelled.");
        EXPECT_LT(std::chrono::steady_clock::now() - start, 100ms);
    }
}

TEST_F(MailLookupTest, NameThatTakesTooLongIsGivenUp) {
    Gate::shared().open(false);

    EXPECT_EQ(sending({}, 100ms, false), "slow.invalid, port 25 did not answer in time.");
}

TEST_F(MailLookupTest, NameThatDoesNotExistIsToldSo) {
    Gate::shared().open(true);

    EXPECT_EQ(sending({}, 20s, false), "The mail server slow.invalid was not found.");
    EXPECT_EQ(sending({}, 20s, true), "The mail server slow.invalid was not found.");
}

} // namespace
} // namespace ovelo

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    if (name != nullptr && std::string(name) == "slow.invalid") {
        ovelo::Gate::shared().pass();
        return EAI_NONAME;
    }
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto next = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return next(name, service, hints, result);
}
