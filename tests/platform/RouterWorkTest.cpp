#include "platform/RouterWork.h"

#include "fakes/FakeRouter.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Status = TCMPortMapping::Status;
using Mappings = std::vector<TCMPortMapping>;
using Ports = std::vector<std::pair<std::uint16_t, std::uint16_t>>;

class RouterWorkTest : public ::testing::Test {
protected:
    static RouterLimit limit() { return {RouterLimit::Steady::now() + 10s, -1}; }
    RouterOutcome refresh() { return work.carryOut({.refresh = true}, limit()); }
    RouterOutcome add(std::uint16_t local, std::uint16_t external) {
        return work.carryOut({.added = {TCMPortMapping::portMappingWithLocalPort(local, external)}},
                             limit());
    }
    RouterOutcome keep(std::uint16_t local, std::uint16_t external) {
        return work.carryOut({.kept = {{Status::Mapped, local, external}}}, limit());
    }
    RouterWork workWithLease(std::chrono::seconds lease) {
        return {[this](const RouterLimit&) { return router.find(); }, lease};
    }

    FakeRouter router;
    RouterWork work = workWithLease(3600s);
};

TEST_F(RouterWorkTest, RefreshTellsTheWholeTableAndTheAddress) {
    router.enter(80, "10.0.0.9", 8080);
    router.enter(17261, "10.0.0.2", 1726);

    const RouterOutcome outcome = refresh();

    EXPECT_EQ(outcome.mappings, (Mappings{{Status::Mapped, 0, 80}, {Status::Mapped, 1726, 17261}}));
    EXPECT_EQ(outcome.externalAddress, "203.0.113.7");
    EXPECT_EQ(outcome.trouble, PortMapperTrouble::None);
}

TEST_F(RouterWorkTest, DisabledEntryIsInTheWayButLeadsNowhere) {
    router.enter(1726, "10.0.0.2", 1726);
    router.table[0].isEnabled = false;

    EXPECT_EQ(refresh().mappings, (Mappings{{Status::Mapped, 0, 1726}}));
}

TEST_F(RouterWorkTest, EntryWithoutAClientLeadsNowhere) {
    router.host = "";
    router.enter(1726, "", 1726);

    EXPECT_EQ(refresh().mappings, (Mappings{{Status::Mapped, 0, 1726}}));
}

TEST_F(RouterWorkTest, MappingIsMadeWithoutAskingForTheTableAgain) {
    refresh();
    const int looks = router.looks;

    EXPECT_EQ(add(1726, 1726).mappings, (Mappings{{Status::Mapped, 1726, 1726}}));

    EXPECT_EQ(router.looks, looks);
    EXPECT_EQ(router.mapped, (Ports{{1726, 1726}}));
}

TEST_F(RouterWorkTest, PortThatTheRouterChoosesCounts) {
    router.tellsTable = false;
    router.choice = 40000;
    refresh();

    EXPECT_EQ(add(1726, 1726).mappings, (Mappings{{Status::Mapped, 1726, 40000}}));
}

TEST_F(RouterWorkTest, NoRouterIsSearchedForOncePerRun) {
    router.isOn = false;

    EXPECT_EQ(refresh().trouble, PortMapperTrouble::NoRouter);
    EXPECT_EQ(add(1726, 1726).trouble, PortMapperTrouble::NoRouter);
    EXPECT_EQ(router.searches, 1);
    EXPECT_FALSE(work.hasMappings()) << "nothing to look after";
}

TEST_F(RouterWorkTest, NoNetworkIsTold) {
    router.hasNetwork = false;

    EXPECT_EQ(refresh().trouble, PortMapperTrouble::NoNetwork);
}

TEST_F(RouterWorkTest, RouterThatIsKnownIsNotSearchedForAgain) {
    refresh();
    refresh();

    EXPECT_EQ(router.searches, 1);
}

TEST_F(RouterWorkTest, RouterThatFellSilentIsSearchedFor) {
    refresh();
    add(1726, 1726);
    router.isOn = false;

    const RouterOutcome outcome = refresh();

    EXPECT_EQ(outcome.trouble, PortMapperTrouble::NoRouter);
    EXPECT_EQ(outcome.mappings, (Mappings{{Status::Unmapped, 1726, 1726}}));
    EXPECT_EQ(outcome.externalAddress, "");
    EXPECT_EQ(router.searches, 2);
}

TEST_F(RouterWorkTest, MappingIsMadeAgainWhenTheRouterIsBackWithoutIt) {
    refresh();
    add(1726, 1726);
    router.isOn = false;
    refresh();
    router.isOn = true;
    router.table.clear();

    EXPECT_EQ(refresh().mappings, (Mappings{{Status::Mapped, 1726, 1726}}));
    EXPECT_EQ(router.mapped.size(), 2U);
}

TEST_F(RouterWorkTest, FreshMappingIsLeftAlone) {
    refresh();
    add(1726, 1726);

    EXPECT_EQ(refresh().mappings, (Mappings{{Status::Mapped, 1726, 1726}}));
    EXPECT_EQ(router.mapped.size(), 1U);
}

TEST_F(RouterWorkTest, MappingOfWhichHalfTheLeaseIsOverIsRenewed) {
    refresh();
    add(1726, 1726);
    router.entryOf(1726)->lease = 1799s;

    refresh();

    EXPECT_EQ(router.mapped.size(), 2U);
}

TEST_F(RouterWorkTest, MappingIsRenewedThoughTheRouterAlwaysTellsTheWholeLease) {
    auto brief = workWithLease(0s);
    brief.carryOut({.refresh = true}, limit());
    brief.carryOut({.added = {TCMPortMapping::portMappingWithLocalPort(1, 1)}}, limit());
    router.entryOf(1)->lease = 3600s;

    brief.carryOut({.refresh = true}, limit());

    EXPECT_EQ(router.mapped.size(), 2U);
}

TEST_F(RouterWorkTest, WithoutATableMappingsAreRenewedAtEachLook) {
    router.tellsTable = false;
    refresh();
    add(1726, 1726);

    refresh();

    EXPECT_EQ(router.mapped.size(), 2U);
}

TEST_F(RouterWorkTest, RefusalIsToldAndNotTriedAgain) {
    router.mapAnswer = RouterAnswer::Refused;
    refresh();

    EXPECT_EQ(add(1726, 1726).trouble, PortMapperTrouble::Refused);
    refresh();
    EXPECT_EQ(router.mapped.size(), 1U);
}

TEST_F(RouterWorkTest, PortThatTheRouterCallsTakenIsInTheTableFromThenOn) {
    router.mapAnswer = RouterAnswer::Taken;
    refresh();
    const Mappings taken{{Status::Mapped, 0, 1726}};

    const RouterOutcome outcome = add(1726, 1726);

    EXPECT_EQ(outcome.mappings,
              (Mappings{{Status::Unmapped, 1726, 1726}, {Status::Mapped, 0, 1726}}));
    EXPECT_EQ(refresh().mappings, taken);
}

TEST_F(RouterWorkTest, MappingWhoseAnswerGotLostIsRemovedAtTheEnd) {
    router.mapAnswer = RouterAnswer::Silent;
    refresh();

    EXPECT_EQ(add(1726, 1726).trouble, PortMapperTrouble::NotTalking);
    work.removeAll(limit());

    EXPECT_EQ(router.unmapped, (Ports{{1726, 1726}}));
}

TEST_F(RouterWorkTest, RouterThatIsNotConnectedIsToldWhateverElseFails) {
    router.addressAnswer = RouterAnswer::NotConnected;
    router.mapAnswer = RouterAnswer::Refused;
    refresh();

    EXPECT_EQ(add(1726, 1726).trouble, PortMapperTrouble::NotConnected);
}

TEST_F(RouterWorkTest, PortThatWentToSomebodyElseIsNotTakenBack) {
    refresh();
    add(1726, 1726);
    router.table.clear();
    router.enter(1726, "10.0.0.9", 80);

    const RouterOutcome outcome = refresh();

    EXPECT_EQ(outcome.trouble, PortMapperTrouble::Refused);
    EXPECT_EQ(outcome.mappings,
              (Mappings{{Status::Unmapped, 1726, 1726}, {Status::Mapped, 0, 1726}}));
    EXPECT_EQ(router.mapped.size(), 1U);
    work.removeAll(limit());
    EXPECT_TRUE(router.unmapped.empty());
}

TEST_F(RouterWorkTest, NewWishForALocalPortTakesThePlaceOfTheOld) {
    refresh();
    add(1726, 1726);

    EXPECT_EQ(add(1726, 17261).mappings.front(), (TCMPortMapping{Status::Mapped, 1726, 17261}));
    EXPECT_EQ(router.unmapped, (Ports{{1726, 1726}}));
}

TEST_F(RouterWorkTest, MappingFollowsThisComputersAddress) {
    refresh();
    add(1726, 1726);
    router.host = "10.0.0.3";

    EXPECT_EQ(refresh().mappings, (Mappings{{Status::Mapped, 1726, 1726}}));
    EXPECT_EQ(router.entryOf(1726)->client, "10.0.0.3");
}

TEST_F(RouterWorkTest, MappingToTheOldAddressThatCannotBeRemovedIsInTheWay) {
    refresh();
    add(1726, 1726);
    router.host = "10.0.0.3";
    router.unmapAnswer = RouterAnswer::Refused;

    EXPECT_EQ(refresh().mappings,
              (Mappings{{Status::Unmapped, 1726, 1726}, {Status::Mapped, 0, 1726}}));
}

TEST_F(RouterWorkTest, MappingLeftByAnEarlierRunIsRenewedAndRemovedAtTheEnd) {
    router.enter(1726, "10.0.0.2", 1726, Router::kDescription);
    refresh();
    EXPECT_FALSE(work.hasMappings());

    keep(1726, 1726);
    keep(1726, 1726);

    EXPECT_TRUE(work.hasMappings());
    EXPECT_EQ(router.mapped, (Ports{{1726, 1726}}));
    work.removeAll(limit());
    EXPECT_EQ(router.unmapped, (Ports{{1726, 1726}}));
}

TEST_F(RouterWorkTest, MappingThatTheUserHasMadeIsLeftAlone) {
    router.enter(1726, "10.0.0.2", 1726, "My camera");
    router.enter(1727, "10.0.0.9", 1727, Router::kDescription);
    refresh();

    keep(1726, 1726);
    keep(1727, 1727);
    keep(1728, 1728);
    work.removeAll(limit());

    EXPECT_TRUE(router.mapped.empty());
    EXPECT_TRUE(router.unmapped.empty());
}

TEST_F(RouterWorkTest, NothingIsRemovedWithoutARouter) {
    work.removeAll(limit());

    EXPECT_TRUE(router.unmapped.empty());
}

} // namespace
} // namespace ovelo
