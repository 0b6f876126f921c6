// Ports forwarded by a real miniupnpd, by UPnP and by NAT-PMP, and what happens when it is not there,
// refuses, or is switched off and on.

#include "fakes/FakeHttp.h"
#include "fakes/TestLog.h"
#include "fakes/UdpPeer.h"
#include "lab/HomeRouter.h"
#include "lab/NatLab.h"
#include "nat/CNATPMPManager.h"
#include "nat/TcpNatBuster.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "platform/NatPmpRouter.h"
#include "platform/RouterPortMapper.h"
#include "platform/UpnpRouter.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/socket.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Status = TCMPortMapping::Status;
using Steady = std::chrono::steady_clock;

/// Puts the main thread, and the threads that it starts, into a namespace. It must be the main one,
/// for whom the default route is that of the process.
class Visit {
public:
    explicit Visit(const std::string& name)
        : home_(::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC)) {
        const FileDescriptor there(::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC));
        if (::setns(there.get(), CLONE_NEWNET) != 0) {
            std::abort(); // nothing may run outside of it
        }
    }
    ~Visit() {
        if (::setns(home_.get(), CLONE_NEWNET) != 0) {
            std::abort();
        }
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

private:
    FileDescriptor home_;
};

sockaddr_in address(const char* ip, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    ::inet_pton(AF_INET, ip, &result.sin_addr);
    return result;
}

/// True when somebody on the internet reaches what listens at this port of the router.
bool isReachable(std::uint16_t port) {
    bool isConnected = false;
    NatLab::runIn("C", [&] {
        const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const timeval limit{2, 0};
        ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        const sockaddr_in router = address("11.22.33.10", port);
        isConnected =
            ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&router), sizeof router) == 0;
    });
    return isConnected;
}

RouterLimit patience(std::chrono::milliseconds time = 10s) {
    return {Steady::now() + time, -1};
}

class RouterLabTest : public ::testing::Test {
protected:
    RouterLabTest() { MainThread::begin(); }
    ~RouterLabTest() override {
        mapper_.reset();
        MainThread::end();
        visit_.reset();
    }

    /// Switches a router on and becomes the host behind it.
    void settle(const HomeRouter::Options& options = {}) {
        ASSERT_TRUE(lab_.isBuilt());
        router_ = std::make_unique<HomeRouter>(options);
        ASSERT_TRUE(router_->isReady());
        visit_.emplace("A");
        listen();
    }
    void listen() {
        listener_.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in here = address("0.0.0.0", 1726);
        ::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&here), sizeof here);
        ::listen(listener_.get(), 5);
    }
    RouterPortMapper& mapper() {
        if (!mapper_) {
            mapper_ = std::make_unique<RouterPortMapper>(options_);
            mapper_->didFinishWork().connect([this] { ++finished_; });
        }
        return *mapper_;
    }
    [[nodiscard]] bool waitForWork(int count = 1) {
        const int wanted = finished_ + count;
        return MainThread::serveUntil([&] { return finished_ >= wanted; }, 30s);
    }
    [[nodiscard]] bool refresh() {
        mapper().refresh();
        mapper().start();
        return waitForWork();
    }
    [[nodiscard]] bool add(std::uint16_t local, std::uint16_t external) {
        mapper().addPortMapping(TCMPortMapping::portMappingWithLocalPort(local, external));
        mapper().start();
        return waitForWork();
    }
    static bool isForwarded() { return HomeRouter::rules().find("dnat") != std::string::npos; }

    /// A mapping made by somebody else, to a host that the router knows.
    void mapElsewhere(std::uint16_t port, const char* client) {
        RouterSearch found = UpnpRouter::find(patience());
        ASSERT_TRUE(found.router);
        HomeRouter::run("A", "true"); // the host is up
        auto other = upnpServiceOf(client);
        ASSERT_TRUE(other);
        ASSERT_EQ(other->map(1726, port, 600s, patience()), RouterAnswer::Done);
    }
    /// A router that takes us for another host.
    static std::unique_ptr<UpnpRouter> upnpServiceOf(const char* client) {
        return std::make_unique<UpnpRouter>(
            upnp::Service{"http://10.0.1.1:5000/ctl/IPConn",
                          "urn:schemas-upnp-org:service:WANIPConnection:1"},
            client);
    }

    NatLab lab_{"port", "port"};
    std::unique_ptr<HomeRouter> router_;
    std::optional<Visit> visit_;
    FileDescriptor listener_;
    RouterPortMapper::Options options_;
    std::unique_ptr<RouterPortMapper> mapper_;
    int finished_ = 0;
};

class EitherWayLabTest : public RouterLabTest, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        const bool isUpnp = GetParam() == std::string("upnp");
        settle({.hasUpnp = isUpnp, .hasNatPmp = !isUpnp});
    }
};

TEST_P(EitherWayLabTest, PortIsForwardedAndTakenBackAtTheEnd) {
    ASSERT_TRUE(refresh());
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::None);
    EXPECT_EQ(mapper().externalIPAddress(), "11.22.33.10");
    EXPECT_TRUE(mapper().portMappings().empty());
    EXPECT_FALSE(isReachable(1726));

    ASSERT_TRUE(add(1726, 1726));

    EXPECT_EQ(mapper().portMappings(), (std::vector<TCMPortMapping>{{Status::Mapped, 1726, 1726}}));
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::None);
    EXPECT_TRUE(isReachable(1726));

    const auto begin = Steady::now();
    mapper_.reset();
    EXPECT_LT(Steady::now() - begin, 1s);
    EXPECT_FALSE(isForwarded());
    EXPECT_FALSE(isReachable(1726));
}

TEST_P(EitherWayLabTest, MappingComesBackAfterTheRouterWasSwitchedOffAndOn) {
    options_.upkeep = 500ms;
    ASSERT_TRUE(refresh() && add(1726, 1726));

    router_->switchOff();
    ASSERT_TRUE(waitForWork());
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NoRouter);
    EXPECT_EQ(mapper().portMappings(),
              (std::vector<TCMPortMapping>{{Status::Unmapped, 1726, 1726}}));
    router_->switchOn();
    ASSERT_TRUE(
        MainThread::serveUntil([&] { return mapper().trouble() == PortMapperTrouble::None; }, 30s));

    EXPECT_EQ(mapper().portMappings(), (std::vector<TCMPortMapping>{{Status::Mapped, 1726, 1726}}));
    EXPECT_TRUE(isReachable(1726));
}

TEST_P(EitherWayLabTest, MappingThatTheRouterForgotIsMadeAgainAtTheNextRun) {
    ASSERT_TRUE(refresh() && add(1726, 1726));
    router_->switchOff();
    router_->switchOn();
    ASSERT_TRUE(router_->isReady());
    EXPECT_FALSE(isForwarded());

    ASSERT_TRUE(refresh());

    EXPECT_TRUE(isReachable(1726));
}

TEST_P(EitherWayLabTest, LeaseIsRenewedBeforeItEnds) {
    options_.lease = 12s; // the router's shortest is 10 s
    options_.upkeep = 2s;
    ASSERT_TRUE(refresh() && add(1726, 1726));

    MainThread::serveUntil([] { return false; }, 14s);

    EXPECT_TRUE(isReachable(1726));
}

TEST_P(EitherWayLabTest, EndIsNotDelayedByARouterThatHasGoneSilent) {
    ASSERT_TRUE(refresh() && add(1726, 1726));
    HomeRouter::run("natA", "ip link set lan down");

    const auto begin = Steady::now();
    mapper_.reset();

    EXPECT_LT(Steady::now() - begin, 1s);
}

TEST_P(EitherWayLabTest, EndInTheMiddleOfARunTakesTheMappingBack) {
    ASSERT_TRUE(refresh() && add(1726, 1726));
    mapper().refresh();
    mapper().start();

    const auto begin = Steady::now();
    mapper_.reset();

    EXPECT_LT(Steady::now() - begin, 1s);
    EXPECT_FALSE(isForwarded());
}

INSTANTIATE_TEST_SUITE_P(Kinds, EitherWayLabTest, ::testing::Values("upnp", "natpmp"),
                         [](const auto& tested) { return std::string(tested.param); });

TEST_F(RouterLabTest, RefusalIsTold) {
    settle({.allowed = "none"});

    ASSERT_TRUE(refresh() && add(1726, 1726));

    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::Refused);
    EXPECT_EQ(mapper().portMappings(),
              (std::vector<TCMPortMapping>{{Status::Unmapped, 1726, 1726}}));
}

TEST_F(RouterLabTest, RouterThatForwardsNothingIsNone) {
    ASSERT_TRUE(lab_.isBuilt());
    visit_.emplace("A");

    const auto begin = Steady::now();
    ASSERT_TRUE(refresh());

    EXPECT_LT(Steady::now() - begin, 8s);
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NoRouter);
}

TEST_F(RouterLabTest, LoopbackAloneIsNoNetwork) {
    const auto begin = Steady::now();
    ASSERT_TRUE(refresh());

    EXPECT_LT(Steady::now() - begin, 500ms);
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NoNetwork);
}

TEST_F(RouterLabTest, SearchesWithoutANetworkLeaveNoDescriptorOpen) {
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    ASSERT_TRUE(refresh());
    TestLog events;
    const auto before = descriptors();

    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(refresh());
        const CNATPMPManager manager(events.log());
    }

    EXPECT_EQ(descriptors(), before);
}

TEST_F(RouterLabTest, PulledCableIsNoNetworkUntilItIsBack) {
    settle();
    ASSERT_TRUE(refresh() && add(1726, 1726));

    HomeRouter::run("A", "ip link set eth0 down");
    ASSERT_TRUE(refresh());
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NoNetwork);

    HomeRouter::run("A", "ip link set eth0 up");
    HomeRouter::run("A", "ip route add default via 10.0.1.1");
    ASSERT_TRUE(MainThread::serveUntil(
        [&] { return refresh() && mapper().trouble() == PortMapperTrouble::None; }, 20s));
    EXPECT_TRUE(isReachable(1726));
}

TEST_F(RouterLabTest, RouterBehindARouterSaysThatItIsNotConnected) {
    ASSERT_TRUE(lab_.isBuilt());
    HomeRouter::run("natA", "ip addr flush dev wan");
    HomeRouter::run("natA", "ip addr add 192.168.7.2/24 dev wan");
    settle();

    ASSERT_TRUE(refresh() && add(1726, 1726));

    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NotConnected) << "in this router's words";
    EXPECT_EQ(mapper().externalIPAddress(), "");
}

TEST_F(RouterLabTest, WholeTableIsTold) {
    settle({.isSecure = false});
    mapElsewhere(1726, "10.0.1.77");

    ASSERT_TRUE(refresh());

    EXPECT_EQ(mapper().portMappings(), (std::vector<TCMPortMapping>{{Status::Mapped, 0, 1726}}));
}

TEST_F(RouterLabTest, PortOfSomebodyElseIsLeftAlone) {
    settle({.isSecure = false});
    mapElsewhere(1726, "10.0.1.77");

    ASSERT_TRUE(refresh() && add(1726, 1726));
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::Refused);
    mapper_.reset();

    EXPECT_TRUE(HomeRouter::rules().find("10.0.1.77") != std::string::npos);
}

TEST_F(RouterLabTest, MappingFollowsThisComputersAddress) {
    settle({.isSecure = false});
    ASSERT_TRUE(refresh() && add(1726, 1726));

    HomeRouter::run("A", "ip addr flush dev eth0");
    HomeRouter::run("A", "ip addr add 10.0.1.9/24 dev eth0");
    HomeRouter::run("A", "ip route add default via 10.0.1.1");
    ASSERT_TRUE(refresh());

    EXPECT_EQ(mapper().portMappings(), (std::vector<TCMPortMapping>{{Status::Mapped, 1726, 1726}}));
    EXPECT_TRUE(isReachable(1726));
}

TEST_F(RouterLabTest, StrangerWhoAnswersWithoutEndDoesNotKeepTheSearchGoing) {
    ASSERT_TRUE(lab_.isBuilt());
    std::unique_ptr<UdpPeer> peer;
    NatLab::runIn("natA", [&] {
        peer = std::make_unique<UdpPeer>("0.0.0.0", 1900);
        const ip_mreq group{address("239.255.255.250", 0).sin_addr,
                            address("10.0.1.1", 0).sin_addr};
        ::setsockopt(peer->fd(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group);
    });
    std::atomic<int> sent = 0;
    const std::jthread flood([&](const std::stop_token& stop) {
        while (!stop.stop_requested() && !peer->receive(50ms)) {
        }
        while (!stop.stop_requested()) {
            peer->reply(
                fmt::format("HTTP/1.1 200 OK\r\nLOCATION: http://10.0.1.1:9/{}\r\n\r\n", ++sent));
        }
    });
    visit_.emplace("A");

    const auto begin = Steady::now();
    ASSERT_TRUE(refresh());

    EXPECT_LT(Steady::now() - begin, 8s);
    EXPECT_GT(sent, 8);
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NoRouter);
}

/// A router of our own making that answers every NAT-PMP request with the same bytes.
class ScriptedNatPmpLabTest : public RouterLabTest {
protected:
    void SetUp() override { ASSERT_TRUE(lab_.isBuilt()); }

    /// Becomes the host behind it.
    void answerWith(std::map<char, std::string> replies) {
        NatLab::runIn("natA", [&] { peer_ = std::make_unique<UdpPeer>("10.0.1.1", 5351); });
        ASSERT_TRUE(peer_->isBound());
        answering_ = std::jthread([this, replies](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                const auto request = peer_->receive(50ms);
                const auto reply = replies.find(request && request->size() > 1 ? (*request)[1] : 9);
                if (reply != replies.end()) {
                    peer_->reply(reply->second);
                }
            }
        });
        visit_.emplace("A");
    }
    ~ScriptedNatPmpLabTest() override { mapper_.reset(); }

    // The fields of RFC 6886, 3.2 and 3.3: version, opcode, result, epoch, address or ports.
    static constexpr std::string_view kAddress{"\0\x80\0\0\0\0\0\1\x0B\x16\x21\x0A", 12};
    static constexpr std::string_view kRefusal{"\0\x82\0\2\0\0\0\1\0\0\0\0\0\0\0\0", 16};

    std::unique_ptr<UdpPeer> peer_;
    std::jthread answering_;
};

TEST_F(ScriptedNatPmpLabTest, RefusalIsTold) {
    answerWith({{0, std::string(kAddress)}, {2, std::string(kRefusal)}});

    ASSERT_TRUE(refresh() && add(1726, 1726));

    EXPECT_EQ(mapper().externalIPAddress(), "11.22.33.10");
    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::Refused);
}

TEST_F(ScriptedNatPmpLabTest, MappingOfAnotherPortThanAskedForIsNoAnswer) {
    answerWith(
        {{0, std::string(kAddress)}, {2, {"\0\x82\0\0\0\0\0\1\0\x50\x06\xBE\0\0\x0E\x10", 16}}});

    ASSERT_TRUE(refresh() && add(1726, 1726));

    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NotTalking);
}

TEST_F(ScriptedNatPmpLabTest, PortThatTheRouterChoosesIsUsed) {
    answerWith(
        {{0, std::string(kAddress)}, {2, {"\0\x82\0\0\0\0\0\1\x06\xBE\x9C\x40\0\0\x0E\x10", 16}}});

    ASSERT_TRUE(refresh() && add(1726, 1726));

    EXPECT_EQ(mapper().portMappings(),
              (std::vector<TCMPortMapping>{{Status::Mapped, 1726, 40000}}));
}

TEST_F(ScriptedNatPmpLabTest, NonsenseIsNoRouter) {
    answerWith({{0, std::string(200, '\xFF')}});

    ASSERT_TRUE(refresh());

    EXPECT_EQ(mapper().trouble(), PortMapperTrouble::NoRouter);
}

TEST_F(ScriptedNatPmpLabTest, PrivateAddressIsTold) {
    answerWith({{0, {"\0\x80\0\0\0\0\0\1\xC0\xA8\x07\x02", 12}}});

    ASSERT_TRUE(refresh());

    EXPECT_EQ(mapper().externalIPAddress(), "192.168.7.2");
}

TEST_F(ScriptedNatPmpLabTest, ManagerTellsARefusal) {
    answerWith({{2, std::string(kRefusal)}});
    TestLog events;
    CNATPMPManager manager(events.log());
    int error = 0;

    EXPECT_FALSE(
        manager.openPortForProtocol(CNATPMPManager::Protocol::Tcp, 1726, 1726, 600, &error));

    EXPECT_EQ(error, -51) << "not authorized";
    EXPECT_EQ(events.text(), "");
}

/// The whole: the program's own rules on a real router.
class ForwardingLabTest : public RouterLabTest {
protected:
    class NoTimer final : public Timer {};

    void SetUp() override { settings_.setString("serviceUrl", "http://11.22.33.3"); }

    void makeBuster() {
        buster_.emplace(TcpNatBuster::Environment{
            mapper(), http_, settings_, events_.log(),
            [this](const std::string& text) { external_ = text; },
            [this](const std::string& message, const std::string&) { alert_ = message; },
            [](auto, auto) { return std::make_unique<NoTimer>(); }});
    }
    [[nodiscard]] bool run() {
        if (!buster_) {
            makeBuster();
        }
        alert_.clear();
        buster_->startNatAutoConfig(true);
        return MainThread::serveUntil([&] { return !alert_.empty(); }, 30s);
    }

    MemorySettings settings_;
    FakeHttp http_;
    TestLog events_;
    std::string external_;
    std::string alert_;
    std::optional<TcpNatBuster> buster_;
};

TEST_F(ForwardingLabTest, UserIsToldTheAddress) {
    settle();

    ASSERT_TRUE(run());

    EXPECT_EQ(alert_, "Port forwarding is successfully configured. External IP Address:  "
                      "11.22.33.10:1726");
    EXPECT_EQ(external_, "11.22.33.10:1726");
    EXPECT_EQ(buster_->reachability(), "");
    EXPECT_TRUE(isReachable(1726));
}

TEST_F(ForwardingLabTest, TakenPortIsMadeWayFor) {
    settle({.isSecure = false});
    mapElsewhere(1726, "10.0.1.77");
    mapElsewhere(17261, "10.0.1.78");

    ASSERT_TRUE(run());

    EXPECT_EQ(external_, "11.22.33.10:17262");
    EXPECT_TRUE(isReachable(17262));
}

TEST_F(ForwardingLabTest, MappingLeftByAnEarlierRunIsTakenOver) {
    settle();
    std::uint16_t port = 17261;
    ASSERT_EQ(upnpServiceOf("10.0.1.2")->map(1726, port, 600s, patience()), RouterAnswer::Done);

    ASSERT_TRUE(run());
    EXPECT_EQ(external_, "11.22.33.10:17261");
    mapper_.reset();

    EXPECT_FALSE(isForwarded());
}

TEST_F(ForwardingLabTest, RefusalEndsInOnePlainSentence) {
    settle({.allowed = "none"});

    ASSERT_TRUE(run());

    EXPECT_EQ(alert_, "Unable to auto-configure port forwarding.");
    EXPECT_EQ(buster_->reachability(), "The router refuses to forward a port to this computer.");
}

TEST_F(RouterLabTest, NatPmpManagerTellsTheAddressAndMapsPorts) {
    settle({.hasUpnp = false});
    TestLog events;
    CNATPMPManager manager(events.log());
    int error = -1;

    EXPECT_EQ(manager.externalAddress(), (CNATPMPManager::Address{11, 22, 33, 10}));
    EXPECT_EQ(manager.publicAddress(), (CNATPMPManager::Address{11, 22, 33, 10}));
    EXPECT_TRUE(
        manager.openPortForProtocol(CNATPMPManager::Protocol::Tcp, 1726, 17261, 600, &error));

    EXPECT_EQ(error, 0);
    EXPECT_TRUE(isReachable(17261));
    EXPECT_TRUE(events.contains(": mapped public port: 17261"));
    EXPECT_TRUE(events.contains(":  private port: 1726"));
    EXPECT_TRUE(events.contains(": mapped lifetime: 600"));
}

TEST_F(RouterLabTest, NatPmpManagerWithoutARouterTellsNothing) {
    TestLog events;
    CNATPMPManager manager(events.log());
    int error = 0;

    EXPECT_EQ(manager.externalAddress(), std::nullopt);
    EXPECT_FALSE(manager.openPortForProtocol(CNATPMPManager::Protocol::Udp, 1, 1, 1, &error));
    EXPECT_LT(error, 0);
}

} // namespace
} // namespace ovelo
