#include "viewer/ServerFinder.h"

#include <gtest/gtest.h>

#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

/// Reports its services from a thread of its own, as a real one does.
class FakeBrowser final : public ServiceBrowser {
public:
    FakeBrowser(std::vector<FoundService> services, Found found)
        : thread_([services = std::move(services), found = std::move(found)] {
            for (const FoundService& service : services) {
                found(service);
            }
        }) {}

private:
    std::jthread thread_;
};

ServerFinder::Browse browserOf(std::vector<FoundService> services) {
    return [services = std::move(services)](const std::string& type, ServiceBrowser::Found found) {
        EXPECT_EQ(type, "_lumenwatch._tcp");
        return std::make_unique<FakeBrowser>(services, std::move(found));
    };
}

TEST(ServerFinderTest, FindsTheServersThatAnswer) {
    const ServerFinder finder(browserOf({{"a", "10.0.0.1", 1726}, {"b", "10.0.0.2", 8080}}),
                              {5s, 20ms});

    const auto found = finder.find({});

    ASSERT_TRUE(found);
    ASSERT_EQ(found.value().size(), 2U);
    EXPECT_EQ(found.value()[1].host, "10.0.0.2");
}

TEST(ServerFinderTest, FindsNoneWhenNobodyAnswersInTime) {
    const ServerFinder finder(browserOf({}), {10ms, 10ms});

    const auto found = finder.find({});

    ASSERT_TRUE(found);
    EXPECT_TRUE(found.value().empty());
}

TEST(ServerFinderTest, FailsWhereNothingCanSearch) {
    const ServerFinder finder(
        [](const std::string&, const ServiceBrowser::Found&) { return nullptr; }, {5s, 5s});

    const auto found = finder.find({});

    ASSERT_FALSE(found);
    EXPECT_NE(found.error().find("Avahi"), std::string::npos);
}

TEST(ServerFinderTest, EndsAtOnceWhenAskedToStop) {
    const ServerFinder finder(browserOf({}), {60s, 60s});
    std::stop_source stop;
    stop.request_stop();

    EXPECT_TRUE(finder.find(stop.get_token()));
}

} // namespace
} // namespace ovelo
