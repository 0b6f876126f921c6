#include "platform/RouterPortMapper.h"

#include "fakes/Eventually.h"
#include "fakes/FakeRouter.h"
#include "platform/MainThread.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <array>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Status = TCMPortMapping::Status;
using Steady = std::chrono::steady_clock;

class RouterPortMapperTest : public ::testing::Test {
protected:
    RouterPortMapperTest() { MainThread::begin(); }
    ~RouterPortMapperTest() override {
        mapper_.reset();
        MainThread::end();
    }
    RouterPortMapper& mapper(std::chrono::milliseconds upkeep = 1h) {
        if (!mapper_) {
            RouterPortMapper::Options options;
            options.find = [this](const RouterLimit&) { return router.find(); };
            options.upkeep = upkeep;
            mapper_ = std::make_unique<RouterPortMapper>(options);
            mapper_->didReceiveUPNPMappingTable().connect([this] { ++tables; });
            mapper_->didFinishWork().connect([this] { ++finished; });
        }
        return *mapper_;
    }
    bool waitForWork() {
        const int wanted = finished + 1;
        return MainThread::serveUntil([&] { return finished >= wanted; }, 5s);
    }
    bool refresh() {
        mapper().refresh();
        mapper().start();
        return waitForWork();
    }
    bool add() {
        mapper().addPortMapping(TCMPortMapping::portMappingWithLocalPort(1726, 1726));
        mapper().start();
        return waitForWork();
    }

    FakeRouter router;
    std::unique_ptr<RouterPortMapper> mapper_;
    int tables = 0;
    int finished = 0;
};

TEST_F(RouterPortMapperTest, NothingRunsBeforeTheFirstStart) {
    mapper().refresh();
    MainThread::serve();

    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NotAsked);
    EXPECT_EQ(mapper().externalIPAddress(), "");
    EXPECT_TRUE(mapper().portMappings().empty());
    EXPECT_EQ(router.searches, 0);
}

TEST_F(RouterPortMapperTest, EachStartFinishesOnceEvenWhenNothingIsNew) {
    ASSERT_TRUE(refresh());
    ASSERT_TRUE(refresh());

    EXPECT_EQ(finished, 2);
    EXPECT_EQ(tables, 2);
    EXPECT_EQ(mapper().externalIPAddress(), "203.0.113.7");
}

TEST_F(RouterPortMapperTest, StartsThatMeetInOneWorkFinishTogether) {
    mapper().refresh();
    mapper().start();
    mapper().start();
    mapper().start();
    ASSERT_TRUE(waitForWork());
    MainThread::serveUntil([] { return false; }, 20ms);

    EXPECT_EQ(finished, 1);
}

TEST_F(RouterPortMapperTest, MappingIsMadeAndRemovedAtTheEnd) {
    ASSERT_TRUE(refresh() && add());
    EXPECT_EQ(mapper().portMappings(), (std::vector<TCMPortMapping>{{Status::Mapped, 1726, 1726}}));

    mapper_.reset();

    EXPECT_EQ(router.unmapped.size(), 1U);
}

TEST_F(RouterPortMapperTest, UpkeepTellsOnlyWhatHasChanged) {
    mapper(5ms);
    ASSERT_TRUE(refresh() && add());
    const int looks = router.looks;
    MainThread::serveUntil([&] { return router.looks > looks + 2; }, 5s);
    EXPECT_EQ(finished, 2);

    router.isOn = false;

    ASSERT_TRUE(waitForWork());
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NoRouter);
}

TEST_F(RouterPortMapperTest, ThreadSleepsWhileItHoldsNoMapping) {
    mapper(1ms);
    ASSERT_TRUE(refresh());
    MainThread::serveUntil([] { return false; }, 30ms);

    EXPECT_EQ(router.looks, 1);
}

TEST_F(RouterPortMapperTest, StopTellsNothingMore) {
    mapper().refresh();
    mapper().start();
    mapper().stop();
    mapper().start();
    MainThread::serveUntil([] { return false; }, 20ms);

    EXPECT_EQ(finished, 0);
}

TEST_F(RouterPortMapperTest, StopDoesNotWaitAndTheEndEndsEveryWait) {
    std::atomic<bool> isLooking = false;
    router.duringLook = [&isLooking](const RouterLimit& limit) {
        isLooking = true;
        std::array<pollfd, 1> wake{pollfd{limit.wakeFd, POLLIN, 0}};
        ::poll(wake.data(), 1, static_cast<int>(limit.left().count()));
    };
    mapper().refresh();
    mapper().start();
    ASSERT_TRUE(eventually([&] { return isLooking.load(); }));

    const auto begin = Steady::now();
    mapper_.reset();

    EXPECT_LT(Steady::now() - begin, 200ms);
}

TEST_F(RouterPortMapperTest, MappingThatWasKeptJustBeforeTheEndIsRemoved) {
    router.enter(1726, "10.0.0.2", 1726, Router::kDescription);
    ASSERT_TRUE(refresh());

    mapper().keepPortMapping({Status::Mapped, 1726, 1726});
    mapper_.reset();

    EXPECT_EQ(router.unmapped.size(), 1U);
}

TEST_F(RouterPortMapperTest, ListenerMayEndIt) {
    mapper().didReceiveUPNPMappingTable().connect([this] { mapper_.reset(); });
    mapper().refresh();
    mapper().start();

    EXPECT_TRUE(MainThread::serveUntil([&] { return !mapper_; }, 5s));
    EXPECT_EQ(finished, 0);
}

TEST_F(RouterPortMapperTest, ListenerMayStartTheNextWork) {
    bool isFirst = true;
    mapper().didFinishWork().connect([&] {
        if (std::exchange(isFirst, false)) {
            mapper().addPortMapping(TCMPortMapping::portMappingWithLocalPort(1726, 1726));
            mapper().start();
        }
    });
    ASSERT_TRUE(refresh());
    ASSERT_TRUE(waitForWork());

    EXPECT_EQ(mapper().portMappings().size(), 1U);
}

} // namespace
} // namespace ovelo
