#include "nat/TcpNatBuster.h"

#include "fakes/FakeHttp.h"
#include "fakes/FakePortMapper.h"
#include "fakes/TestLog.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

#include <optional>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

class TcpNatBusterTest : public ::testing::Test {
protected:
    class FakeTimer final : public Timer {};

    TcpNatBusterTest() {
        settings.setString("serviceUrl", "https://watch.example.org");
        settings.setString("email", "me@example.org");
        settings.setString("password", "secret");
    }

    TcpNatBuster& buster() {
        if (!buster_) {
            buster_.emplace(TcpNatBuster::Environment{
                mapper, http, settings, events.log(),
                [this](const std::string& text) { external.push_back(text); },
                [this](const std::string& message, const std::string& informative) {
                    alerts.push_back(message + " -- " + informative);
                    if (duringAlert) {
                        duringAlert();
                    }
                },
                [this](std::chrono::milliseconds delay, std::function<void()> tick) {
                    delays.push_back(delay);
                    tick_ = std::move(tick);
                    return std::make_unique<FakeTimer>();
                }});
        }
        return *buster_;
    }
    void tick() {
        const auto tick = tick_;
        tick();
    }

    /// A run up to the question for a mapping. return: the external port that was asked for
    std::uint16_t desiredPort() {
        buster().startNatAutoConfig(false);
        mapper.finish();
        return mapper.added.empty() ? 0 : mapper.added.back().externalPort;
    }
    static std::string field(const std::string& name, const std::string& value) {
        return "Content-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
               "\r\n--0xKhTmLbOuNdArY\r\n";
    }

    MemorySettings settings;
    TestLog events;
    FakeHttp http;
    FakePortMapper mapper;
    Texts external;
    Texts alerts;
    std::function<void()> duringAlert;
    std::vector<std::chrono::milliseconds> delays;
    std::optional<TcpNatBuster> buster_;
    std::function<void()> tick_;
};

TEST_F(TcpNatBusterTest, FirstRunComesHalfASecondAfterCreationAndTheNextFiveMinutesLater) {
    buster();
    EXPECT_EQ(delays, (std::vector<std::chrono::milliseconds>{500ms}));
    EXPECT_EQ(mapper.starts, 0);

    tick();

    EXPECT_EQ(delays, (std::vector<std::chrono::milliseconds>{500ms, 300s}));
    EXPECT_EQ(mapper.refreshes, 1);
    EXPECT_EQ(mapper.starts, 1);
    EXPECT_EQ(buster().mappingState(), 1);
}

TEST_F(TcpNatBusterTest, TimerGoesOnWhileARunIsUnderWay) {
    buster();
    tick();
    tick();

    EXPECT_EQ(delays.size(), 3U);
    EXPECT_EQ(mapper.starts, 1);
}

TEST_F(TcpNatBusterTest, NothingRunsByItselfWhenThatIsSwitchedOff) {
    settings.setBoolean("autoPortMap", false);
    buster();
    tick();
    EXPECT_EQ(mapper.starts, 0);
    EXPECT_EQ(delays.size(), 2U);
    EXPECT_EQ(buster().reachability(),
              "The router is not asked by itself; the automatic configuration is switched off.");

    settings.setBoolean("autoPortMap", true);
    tick();
    EXPECT_EQ(mapper.starts, 1);
}

TEST_F(TcpNatBusterTest, UserCanRunItWhenItIsSwitchedOff) {
    settings.setBoolean("autoPortMap", false);

    buster().startNatAutoConfig(true);

    EXPECT_EQ(mapper.starts, 1);
}

TEST_F(TcpNatBusterTest, RunStartedDuringAnotherIsDropped) {
    buster().startNatAutoConfig(false);
    buster().startNatAutoConfig(true);
    mapper.finish();
    mapper.finish();

    EXPECT_EQ(mapper.refreshes, 1);
    EXPECT_TRUE(alerts.empty());
}

TEST_F(TcpNatBusterTest, ConfiguredPortIsMappedToItself) {
    settings.setString("port", "8080");
    buster().startNatAutoConfig(false);
    mapper.finish();

    ASSERT_EQ(mapper.added.size(), 1U);
    EXPECT_EQ(mapper.added[0], TCMPortMapping::portMappingWithLocalPort(8080, 8080));
    EXPECT_EQ(mapper.starts, 2);
    EXPECT_EQ(mapper.refreshes, 1);
    EXPECT_EQ(buster().mappingState(), 2);
}

TEST_F(TcpNatBusterTest, Port1726IsMappedWithoutTheSetting) {
    EXPECT_EQ(desiredPort(), 1726);
}

TEST_F(TcpNatBusterTest, MappingThatWasMadeIsStoredRegisteredAndTold) {
    buster().startNatAutoConfig(false);
    mapper.finish();
    mapper.enter(1726, 1726);
    mapper.finish();

    EXPECT_EQ(buster().mappingState(), 0);
    EXPECT_EQ(settings.integer("externalTcpPort"), 1726);
    EXPECT_EQ(external, Texts{"203.0.113.7:1726"});
    ASSERT_EQ(http.exchanges.size(), 1U);
    EXPECT_NE(http.exchanges[0]->request.body.find(field("port", "1726")), std::string::npos);
    EXPECT_EQ(buster().reachability(), "");
    EXPECT_TRUE(alerts.empty());
}

TEST_F(TcpNatBusterTest, MappingThatExistsIsUsedAndKept) {
    mapper.enter(1726, 17261);
    buster().startNatAutoConfig(false);
    mapper.finish();

    EXPECT_TRUE(mapper.added.empty());
    EXPECT_EQ(mapper.kept, mapper.table);
    EXPECT_EQ(external, Texts{"203.0.113.7:17261"});
    EXPECT_EQ(buster().mappingState(), 0);
}

TEST_F(TcpNatBusterTest, UnchangedExternalPortDoesNotRegisterAgain) {
    settings.setInteger("externalTcpPort", 1726);
    mapper.enter(1726, 1726);
    buster().startNatAutoConfig(false);
    mapper.finish();

    EXPECT_TRUE(http.exchanges.empty());
    EXPECT_EQ(external, Texts{"203.0.113.7:1726"});
}

TEST_F(TcpNatBusterTest, RenewalThatChangesThePortIsRegisteredThoughNoRunIsUnderWay) {
    settings.setInteger("externalTcpPort", 1726);
    buster();
    mapper.enter(1726, 40000);
    mapper.finish();

    EXPECT_EQ(settings.integer("externalTcpPort"), 40000);
    EXPECT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(external, Texts{"203.0.113.7:40000"});
    EXPECT_EQ(buster().mappingState(), 0);
}

TEST_F(TcpNatBusterTest, MappingOfAnotherComputerIsNotOurs) {
    mapper.enter(0, 1726);

    EXPECT_EQ(desiredPort(), 17261);
    EXPECT_TRUE(external.empty());
}

TEST_F(TcpNatBusterTest, UnmappedEntryIsNeitherOursNorInTheWay) {
    mapper.table.push_back({TCMPortMapping::Status::Unmapped, 1726, 1726});

    EXPECT_EQ(desiredPort(), 1726);
}

TEST_F(TcpNatBusterTest, TakenPortLeadsToTenTimesItsNumberAndOnwards) {
    mapper.enter(0, 1726);
    mapper.enter(0, 17261);

    EXPECT_EQ(desiredPort(), 17262);
}

TEST_F(TcpNatBusterTest, HighPortIsNotMultiplied) {
    settings.setString("port", "9500");
    mapper.enter(80, 9500);

    EXPECT_EQ(desiredPort(), 9501);
}

TEST_F(TcpNatBusterTest, TenthCandidateIsTakenEvenWhenUsed) {
    settings.setString("port", "9500");
    for (std::uint16_t port = 9500; port <= 9511; ++port) {
        mapper.enter(0, port);
    }

    EXPECT_EQ(desiredPort(), 9510);
}

TEST_F(TcpNatBusterTest, TenthCandidateOfAMultipliedPortIsTakenEvenWhenUsed) {
    mapper.enter(0, 1726);
    for (std::uint16_t port = 17260; port <= 17275; ++port) {
        mapper.enter(0, port);
    }

    EXPECT_EQ(desiredPort(), 17270);
}

TEST_F(TcpNatBusterTest, ProductThatIsNoPortNumberIsNotUsed) {
    settings.setString("port", "9000");
    mapper.enter(0, 9000);

    EXPECT_EQ(desiredPort(), 9001);
}

TEST_F(TcpNatBusterTest, LargestProductThatIsAPortNumberIsUsed) {
    settings.setString("port", "6552");
    mapper.enter(0, 6552);

    EXPECT_EQ(desiredPort(), 65521);
}

TEST_F(TcpNatBusterTest, CandidatesEndAtTheLastPort) {
    settings.setString("port", "65533");
    for (std::uint16_t port = 65533; port != 0; ++port) {
        mapper.enter(0, port);
    }

    EXPECT_EQ(desiredPort(), 65535);
}

TEST_F(TcpNatBusterTest, NoPortAtAllIsNotMapped) {
    settings.setString("port", "0");
    mapper.enter(0, 5000);
    buster().startNatAutoConfig(true);
    mapper.finish();

    EXPECT_TRUE(mapper.added.empty());
    EXPECT_TRUE(external.empty());
    EXPECT_EQ(buster().mappingState(), 0);
    EXPECT_EQ(alerts.size(), 1U);
}

TEST_F(TcpNatBusterTest, RunWithoutAMappingEndsSilently) {
    buster().startNatAutoConfig(false);
    mapper.currentTrouble = PortMapperTrouble::NoRouter;
    mapper.finish();
    mapper.finish();

    EXPECT_EQ(buster().mappingState(), 0);
    EXPECT_TRUE(alerts.empty());
    EXPECT_TRUE(http.exchanges.empty());
    EXPECT_EQ(events.text(), "");
    EXPECT_FALSE(settings.contains("externalTcpPort"));
    EXPECT_EQ(buster().reachability(),
              "No router was found that forwards ports: UPnP and NAT-PMP may be turned off in it.");
}

TEST_F(TcpNatBusterTest, UserIsToldOfSuccess) {
    mapper.enter(1726, 17261);
    buster().startNatAutoConfig(true);
    mapper.finish();

    EXPECT_EQ(alerts, Texts{"Port forwarding is successfully configured. External IP Address:  "
                            "203.0.113.7:17261 -- You may now connect using your external IP "
                            "address, or using a matching E-Mail/Password on your iPhone/iPod."});
    EXPECT_EQ(buster().mappingState(), 0);
}

TEST_F(TcpNatBusterTest, UserIsToldOfFailureOnlyAfterTheMappingWasAskedFor) {
    buster().startNatAutoConfig(true);
    mapper.finish();
    EXPECT_TRUE(alerts.empty());

    mapper.finish();

    EXPECT_EQ(alerts, Texts{"Unable to auto-configure port forwarding. -- Please make sure UPnP is "
                            "turned on using your router's configuration tool."});
    EXPECT_EQ(buster().mappingState(), 0);
}

TEST_F(TcpNatBusterTest, RenewalAfterARunWithADialogShowsNone) {
    mapper.enter(1726, 1726);
    buster().startNatAutoConfig(true);
    mapper.finish();

    mapper.finish();

    EXPECT_EQ(alerts.size(), 1U);
}

TEST_F(TcpNatBusterTest, NothingHappensWhileTheAlertIsOpen) {
    mapper.enter(1726, 1726);
    buster().startNatAutoConfig(true);
    duringAlert = [this] {
        tick();
        buster().startNatAutoConfig(true);
        mapper.finish();
    };
    mapper.finish();

    EXPECT_EQ(alerts.size(), 1U);
    EXPECT_EQ(mapper.starts, 1);
    EXPECT_EQ(buster().mappingState(), 0);
}

TEST_F(TcpNatBusterTest, MayEndWhileItsAlertIsOpen) {
    mapper.enter(1726, 1726);
    buster().startNatAutoConfig(true);
    duringAlert = [this] { buster_.reset(); };

    mapper.finish();

    EXPECT_FALSE(buster_.has_value());
}

TEST_F(TcpNatBusterTest, RunThatFailedIsFollowedByTheNext) {
    buster().startNatAutoConfig(false);
    mapper.finish();
    mapper.finish();
    buster().startNatAutoConfig(false);

    EXPECT_EQ(mapper.refreshes, 2);
    EXPECT_EQ(buster().mappingState(), 1);
}

TEST_F(TcpNatBusterTest, ServerIsNotToldAnAddressThatTheRouterDoesNotTell) {
    mapper.address = "";
    mapper.enter(1726, 1726);
    buster().startNatAutoConfig(false);
    mapper.finish();

    EXPECT_TRUE(external.empty());
    EXPECT_EQ(settings.integer("externalTcpPort"), 1726);
    EXPECT_EQ(buster().reachability(), "The router does not tell its address on the internet.");
}

TEST_F(TcpNatBusterTest, ChangeOfReachabilityIsAnnouncedOnce) {
    Texts told;
    buster().reachabilityChanged().connect([&] { told.push_back(buster().reachability()); });
    mapper.enter(1726, 1726);
    for (int i = 0; i < 2; ++i) {
        buster().startNatAutoConfig(false);
        mapper.finish();
    }

    EXPECT_EQ(told, Texts{""});
}

TEST_F(TcpNatBusterTest, MapperMayOutliveIt) {
    buster().startNatAutoConfig(false);
    buster_.reset();

    mapper.finish();

    EXPECT_TRUE(mapper.added.empty());
}

TEST_F(TcpNatBusterTest, RegistrationIsAFormOfAccountServiceAndPort) {
    settings.setInteger("externalTcpPort", 17261);
    buster().tcpRegInMainThread();

    ASSERT_EQ(http.exchanges.size(), 1U);
    const HttpRequest& request = http.exchanges[0]->request;
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.url, "https://watch.example.org/Tcp/RegisterWS.aspx");
    EXPECT_EQ(request.body, "--0xKhTmLbOuNdArY\r\n" + field("email", "me@example.org") +
                                field("password", "secret") + field("service_id", "Ovelo") +
                                field("ip", "") + field("port", "17261"));
    EXPECT_FALSE(request.followRedirects);
    EXPECT_TRUE(events.text().ends_with(": TCP Reg Request submitted, port 17261"));
}

TEST_F(TcpNatBusterTest, Port1726IsRegisteredBeforeAnyMapping) {
    buster().tcpRegInMainThread();

    EXPECT_NE(http.exchanges.at(0)->request.body.find(field("port", "1726")), std::string::npos);
}

TEST_F(TcpNatBusterTest, NoEmailOrNoPasswordSendsNoRegistration) {
    settings.setString("password", "");
    buster().tcpRegInMainThread();
    settings.remove("password");
    buster().tcpRegInMainThread();
    settings.setString("password", "secret");
    settings.setString("email", "");
    buster().tcpRegInMainThread();
    settings.remove("email");
    buster().tcpRegInMainThread();

    EXPECT_TRUE(http.exchanges.empty());
    EXPECT_EQ(events.text(), "");
}

TEST_F(TcpNatBusterTest, RegistrationThatCannotBeStartedIsLogged) {
    settings.remove("serviceUrl");

    EXPECT_FALSE(buster().regToInstruducer("a", "b", "Ovelo", "", "1"));

    EXPECT_TRUE(events.text().ends_with(": Failed to submit request"));
}

TEST_F(TcpNatBusterTest, ReplyIsLogged) {
    EXPECT_TRUE(buster().regToInstruducer("a", "b", "Ovelo", "", "1"));
    http.reply(0, 404, "no such page");

    EXPECT_EQ(buster().ret_code(), 404);
    EXPECT_TRUE(events.contains(": TCP Reg Service registration HTTP return code: 404\n"));
    EXPECT_TRUE(events.contains(": TCP Reg Service registration HTTP return: <no such page>\n"));
}

TEST_F(TcpNatBusterTest, FailureIsLogged) {
    buster().tcpRegInMainThread();
    http.fail(0, "Connection refused");

    EXPECT_TRUE(events.contains(": Service registration failed: Connection refused\n"));
}

TEST_F(TcpNatBusterTest, EleventhRegistrationDropsTheOldestFromTheList) {
    for (int i = 0; i < 11; ++i) {
        buster().tcpRegInMainThread();
    }
    EXPECT_EQ(buster().regConnections().trackedCount(), 10U);
    EXPECT_EQ(buster().regConnections().untrackedCount(), 1U);

    http.reply(0, 201, "late");

    EXPECT_EQ(buster().ret_code(), 201);
    EXPECT_TRUE(events.contains("return: <late>\n")) << "it goes on, and is heard of";
}

} // namespace
} // namespace ovelo
