#include "platform/AvahiBrowser.h"

#include "platform/AvahiFixture.h"
#include "platform/ServicePublisher.h"

#include <chrono>
#include <mutex>
#include <vector>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class AvahiBrowserTest : public AvahiFixture {
protected:
    ServiceBrowser::Found collect() {
        return [this](const FoundService& service) {
            const std::lock_guard lock(lock_);
            found_.push_back(service);
        };
    }
    std::size_t count() {
        const std::lock_guard lock(lock_);
        return found_.size();
    }
    std::vector<FoundService> found() {
        const std::lock_guard lock(lock_);
        return found_;
    }
    std::unique_ptr<ServiceBrowser> browse() {
        std::unique_ptr<ServiceBrowser> browser;
        eventually([&] { // the daemon needs a moment to start
            browser = ServiceBrowser::create(kType, collect());
            return browser != nullptr;
        });
        return browser;
    }

    std::mutex lock_;
    std::vector<FoundService> found_;
};

TEST_F(AvahiBrowserTest, FindsServicesThatWereThereAndThatComeLater) {
    lab().startBus();
    lab().startDaemon();
    lab().announceForeign("_lumenwatch_1", kType, 1726);
    const auto browser = browse();
    ASSERT_NE(browser, nullptr);

    ASSERT_TRUE(eventually([&] { return count() == 1; }));
    EXPECT_EQ(found()[0].name, "_lumenwatch_1");
    EXPECT_EQ(found()[0].host, "127.0.0.1");
    EXPECT_EQ(found()[0].port, 1726);

    lab().stopForeign();
    lab().announceForeign("_lumenwatch_2", kType, 8080);
    ASSERT_TRUE(eventually([&] { return count() == 2; }));
    EXPECT_EQ(found()[1].port, 8080);
}

TEST_F(AvahiBrowserTest, FindsNothingOfAnotherType) {
    lab().startBus();
    lab().startDaemon();
    lab().announceForeign("printer", "_ipp._tcp", 631);
    const auto browser = browse();
    ASSERT_NE(browser, nullptr);
    ASSERT_TRUE(
        eventually([&] { return lab().browse("_ipp._tcp").find("631") != std::string::npos; }));

    EXPECT_EQ(count(), 0U);
}

TEST_F(AvahiBrowserTest, GoesOnWhenTheDaemonIsRestarted) {
    lab().startBus();
    lab().startDaemon();
    const auto browser = browse();
    ASSERT_NE(browser, nullptr);

    lab().stopDaemon();
    lab().startDaemon();
    lab().announceForeign("_lumenwatch_3", kType, 1726);

    EXPECT_TRUE(eventually([&] { return count() == 1; }));
}

TEST_F(AvahiBrowserTest, IsNullWithoutABus) {
    EXPECT_EQ(ServiceBrowser::create(kType, collect()), nullptr);
}

TEST_F(AvahiBrowserTest, IsNullWithoutADaemon) {
    lab().startBus();

    EXPECT_EQ(ServiceBrowser::create(kType, collect()), nullptr);
}

TEST_F(AvahiBrowserTest, IsNullSoonWhenTheDaemonHangs) {
    lab().startBus();
    lab().startDaemon();
    ASSERT_NE(browse(), nullptr);
    lab().freezeDaemon();
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_EQ(ServiceBrowser::create(kType, collect()), nullptr);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

} // namespace
} // namespace ovelo
