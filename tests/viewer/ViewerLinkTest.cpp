#include "viewer/ViewerLink.h"

#include "viewer/ScriptedServer.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class ListenerRecord final : public ViewerLink::Listener {
public:
    void linkChanged(const LinkState& state) override {
        const std::lock_guard lock(lock_);
        states_.push_back(state);
        changed_.notify_all();
    }
    void linkReceived(ViewerEvent event) override {
        const std::lock_guard lock(lock_);
        events_.push_back(std::move(event));
        changed_.notify_all();
    }

    bool waitForStates(std::size_t count) {
        std::unique_lock lock(lock_);
        return changed_.wait_for(lock, 5s, [&] { return states_.size() >= count; });
    }
    bool waitForEvents(std::size_t count) {
        std::unique_lock lock(lock_);
        return changed_.wait_for(lock, 5s, [&] { return events_.size() >= count; });
    }
    std::vector<LinkState> states() {
        const std::lock_guard lock(lock_);
        return states_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<LinkState> states_;
    std::vector<ViewerEvent> events_;
};

class ViewerLinkTest : public testing::Test {
protected:
    ViewerOptions options(std::uint16_t port) {
        ViewerOptions result;
        result.host = "127.0.0.1";
        result.port = port;
        return result;
    }

    ScriptedServer server_;
    ListenerRecord record_;
};

TEST_F(ViewerLinkTest, ConnectsAndHandsEventsOn) {
    ViewerLink link(options(server_.port()), record_);
    link.start();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\nFrame,0,1,1,0\nx");

    ASSERT_TRUE(record_.waitForEvents(2));
    const auto states = record_.states();
    ASSERT_EQ(states.size(), 2U);
    EXPECT_EQ(states[0].kind, LinkState::Kind::Connecting);
    EXPECT_EQ(states[1].kind, LinkState::Kind::Connected);
}

TEST_F(ViewerLinkTest, ConnectsAgainWhenTheServerHungUp) {
    ViewerLink link(options(server_.port()), record_, 1ms);
    link.start();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n");
    ASSERT_TRUE(record_.waitForEvents(1));
    server_.hangUp();

    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n");
    ASSERT_TRUE(record_.waitForEvents(2));
    EXPECT_EQ(record_.states()[2].kind, LinkState::Kind::Waiting);
    EXPECT_FALSE(record_.states()[2].reason.empty());
}

TEST_F(ViewerLinkTest, PausesLongerEachTimeItFails) {
    std::uint16_t closedPort = 0;
    {
        const ScriptedServer gone;
        closedPort = gone.port();
    }
    ViewerLink link(options(closedPort), record_, 1ms);
    link.start();

    ASSERT_TRUE(record_.waitForStates(6)); // Connecting, Waiting, three times
    link.stop();
    const auto states = record_.states();
    EXPECT_EQ(states[1].pause, 1ms);
    EXPECT_EQ(states[3].pause, 2ms);
    EXPECT_EQ(states[5].pause, 4ms);
    EXPECT_EQ(states[5].reason, "Connection refused");
}

TEST_F(ViewerLinkTest, BeginsWithAShortPauseAgainAfterItWasLetIn) {
    ViewerLink link(options(server_.port()), record_, 1ms);
    link.start();
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(server_.accept());
        server_.hangUp(); // without a greeting
    }
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n");
    ASSERT_TRUE(record_.waitForEvents(1));
    server_.hangUp();

    ASSERT_TRUE(record_.waitForStates(9));
    const auto states = record_.states();
    EXPECT_EQ(states[2].pause, 1ms);
    EXPECT_EQ(states[5].pause, 2ms);
    EXPECT_EQ(states[8].pause, 1ms);
}

TEST_F(ViewerLinkTest, StopsAtOnceWhileItPauses) {
    std::uint16_t closedPort = 0;
    {
        const ScriptedServer gone;
        closedPort = gone.port();
    }
    ViewerLink link(options(closedPort), record_, 30s);
    link.start();
    ASSERT_TRUE(record_.waitForStates(2));
    const auto begin = std::chrono::steady_clock::now();

    link.stop();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(ViewerLinkTest, StopsAtOnceWhileItWaitsForTheServer) {
    ViewerLink link(options(server_.port()), record_);
    link.start();
    ASSERT_TRUE(record_.waitForStates(2));
    const auto begin = std::chrono::steady_clock::now();

    link.stop();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 900ms);
}

TEST_F(ViewerLinkTest, TakesCommandsFromAnotherThread) {
    ViewerLink link(options(server_.port()), record_);
    link.start();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n");
    ASSERT_TRUE(record_.waitForEvents(1));

    link.client().setDelay(1);

    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    EXPECT_EQ(server_.hear(), "Sync,0.25");
}

} // namespace
} // namespace ovelo
