#include "platform/AvahiPublisher.h"

#include "platform/AvahiFixture.h"

#include <avahi-common/error.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

class DelegateRecord final : public ServicePublisher::Delegate {
public:
    void netServiceWillPublish(const PublishedService& service) override {
        EXPECT_TRUE(MainThread::isCurrent());
        published.push_back(service.name);
    }
    void netServiceDidNotPublish(const PublishedService& /*service*/, int errorCode) override {
        EXPECT_TRUE(MainThread::isCurrent());
        errors.push_back(errorCode);
    }
    void netServiceDidStop(const PublishedService& service) override {
        stopped.push_back(service.name);
    }

    std::vector<std::string> published;
    std::vector<int> errors;
    std::vector<std::string> stopped;
};

class AvahiPublisherTest : public AvahiFixture {
protected:
    std::unique_ptr<ServicePublisher> publish(const char* name = "_lumenwatch_17") {
        auto publisher = ServicePublisher::create({"", kType, name, 1726}, delegate_);
        publisher->publish();
        return publisher;
    }

    static bool isAnnounced(const std::string& name) {
        return lab().browse(kType).find(";" + name + ";") != std::string::npos;
    }

    DelegateRecord delegate_;
};

TEST_F(AvahiPublisherTest, AnnouncesTheServiceAndWithdrawsItWhenStopped) {
    lab().startBus();
    lab().startDaemon();
    const auto publisher = publish();

    ASSERT_TRUE(eventually([&] { return !delegate_.published.empty(); }));
    EXPECT_EQ(delegate_.published, std::vector<std::string>{"_lumenwatch_17"});
    ASSERT_TRUE(eventually([&] { return isAnnounced("_lumenwatch_17"); }));
    const auto found = lab().browse(kType);
    EXPECT_NE(found.find(";IPv4;_lumenwatch_17;"), std::string::npos);
    EXPECT_NE(found.find(";127.0.0.1;1726;"), std::string::npos);

    publisher->stop();
    EXPECT_EQ(delegate_.stopped, std::vector<std::string>{"_lumenwatch_17"});
    EXPECT_TRUE(eventually([&] { return !isAnnounced("_lumenwatch_17"); }));
    publisher->stop();
    EXPECT_EQ(delegate_.stopped.size(), 1U);
}

TEST_F(AvahiPublisherTest, WithdrawsSilentlyWhenDestroyed) {
    lab().startBus();
    lab().startDaemon();
    auto publisher = publish();
    ASSERT_TRUE(eventually([&] { return !delegate_.published.empty(); }));

    publisher.reset();

    EXPECT_TRUE(delegate_.stopped.empty());
    EXPECT_TRUE(eventually([&] { return !isAnnounced("_lumenwatch_17"); }));
}

TEST_F(AvahiPublisherTest, CanBePublishedAgainAfterItWasStopped) {
    lab().startBus();
    lab().startDaemon();
    const auto publisher = publish();
    ASSERT_TRUE(eventually([&] { return !delegate_.published.empty(); }));
    publisher->stop();

    publisher->publish();

    EXPECT_TRUE(eventually([&] { return delegate_.published.size() == 2; }));
}

TEST_F(AvahiPublisherTest, TellsOnceThatThereIsNoBusAndIsServedWhenOneComes) {
    const auto publisher = publish();
    ASSERT_TRUE(eventually([&] { return !delegate_.errors.empty(); }));
    // Longer than the pause between two attempts.
    EXPECT_FALSE(MainThread::serveUntil([&] { return delegate_.errors.size() > 1; }, 2500ms));
    EXPECT_EQ(delegate_.errors, std::vector<int>{AVAHI_ERR_NO_DAEMON});

    lab().startBus();
    lab().startDaemon();

    EXPECT_TRUE(eventually([&] { return !delegate_.published.empty(); }));
    EXPECT_EQ(delegate_.errors, std::vector<int>{AVAHI_ERR_NO_DAEMON});
}

TEST_F(AvahiPublisherTest, TellsThatThereIsNoDaemonAndIsServedWhenOneComes) {
    lab().startBus();
    const auto publisher = publish();
    ASSERT_TRUE(eventually([&] { return !delegate_.errors.empty(); }));
    EXPECT_EQ(delegate_.errors, std::vector<int>{AVAHI_ERR_NO_DAEMON});

    lab().startDaemon();

    ASSERT_TRUE(eventually([&] { return !delegate_.published.empty(); }));
    EXPECT_TRUE(eventually([&] { return isAnnounced("_lumenwatch_17"); }));
}

TEST_F(AvahiPublisherTest, AnnouncesAgainWhenTheDaemonIsRestarted) {
    lab().startBus();
    lab().startDaemon();
    const auto publisher = publish();
    ASSERT_TRUE(eventually([&] { return !delegate_.published.empty(); }));

    delegate_.errors.clear();
    lab().stopDaemon();
    ASSERT_TRUE(eventually([&] { return !delegate_.errors.empty(); }));
    EXPECT_EQ(delegate_.errors.front(), AVAHI_ERR_DISCONNECTED);
    lab().startDaemon();

    ASSERT_TRUE(eventually([&] { return delegate_.published.size() == 2; }));
    EXPECT_TRUE(eventually([&] { return isAnnounced("_lumenwatch_17"); }));
}

TEST_F(AvahiPublisherTest, AnnouncesAgainWhenTheBusIsRestarted) {
    lab().startBus();
    lab().startDaemon();
    const auto publisher = publish();
    ASSERT_TRUE(eventually([&] { return !delegate_.published.empty(); }));

    delegate_.errors.clear();
    lab().stopBus(); // the daemon ends with it
    ASSERT_TRUE(eventually([&] { return !delegate_.errors.empty(); }));
    lab().stopDaemon();
    lab().startBus();
    lab().startDaemon();

    EXPECT_TRUE(eventually([&] { return delegate_.published.size() == 2; }));
}

TEST_F(AvahiPublisherTest, TakesAnotherNameWhenItsOwnIsTaken) {
    lab().startBus();
    lab().startDaemon();
    lab().announceForeign("_lumenwatch_17", kType, 9);
    ASSERT_TRUE(eventually([&] { return isAnnounced("_lumenwatch_17"); }));

    const auto publisher = publish();

    ASSERT_TRUE(eventually([&] { return !delegate_.published.empty(); }));
    EXPECT_EQ(delegate_.published, std::vector<std::string>{"_lumenwatch_17 #2"});
    EXPECT_TRUE(
        eventually([&] { return lab().browse(kType).find(";1726;") != std::string::npos; }));
    publisher->stop();
    EXPECT_EQ(delegate_.stopped, std::vector<std::string>{"_lumenwatch_17 #2"});
}

TEST_F(AvahiPublisherTest, TellsNothingAfterItWasStopped) {
    lab().startBus();
    const auto publisher = publish();
    // The daemon's absence may be on its way to the main thread already.
    std::this_thread::sleep_for(50ms);

    publisher->stop();

    EXPECT_FALSE(MainThread::serveUntil([&] { return !delegate_.errors.empty(); }, 100ms));
    EXPECT_TRUE(delegate_.published.empty());
}

TEST_F(AvahiPublisherTest, StartsAndStopsQuicklyThoughTheDaemonHangs) {
    lab().startBus();
    lab().startDaemon();
    auto first = publish();
    ASSERT_TRUE(eventually([&] { return !delegate_.published.empty(); }));
    lab().freezeDaemon();

    const auto begin = steady_clock::now();
    auto second = publish("_lumenwatch_18");
    EXPECT_LT(steady_clock::now() - begin, 500ms);
    second.reset();
    first->stop();
    first.reset();
    EXPECT_LT(steady_clock::now() - begin, 5s);

    lab().thawDaemon();
    EXPECT_TRUE(eventually([&] { return !isAnnounced("_lumenwatch_17"); }));
}

} // namespace
} // namespace ovelo
