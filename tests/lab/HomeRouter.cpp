#include "lab/HomeRouter.h"

#include "fakes/Eventually.h"

#include <array>
#include <cstdio>
#include <fstream>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

// As the daemon's own start script makes them.
constexpr const char* kChains = R"(
table inet miniupnpd {
    chain forward { type filter hook forward priority 0; policy accept; jump miniupnpd; }
    chain miniupnpd { }
    chain prerouting { type nat hook prerouting priority -100; policy accept; jump prerouting_miniupnpd; }
    chain postrouting { type nat hook postrouting priority 100; policy accept; jump postrouting_miniupnpd; }
    chain prerouting_miniupnpd { }
    chain postrouting_miniupnpd { }
}
)";

constexpr const char* kSettings = R"(
ext_ifname=wan
listening_ip=lan
port=5000
min_lifetime=10
max_lifetime=86400
system_uptime=no
notify_interval=30
uuid=73a9cb68-a00b-4d2f-8412-75dc989f0c6
upnp_table_name=miniupnpd
upnp_nat_table_name=miniupnpd
upnp_forward_chain=miniupnpd
upnp_nat_chain=prerouting_miniupnpd
upnp_nat_postrouting_chain=postrouting_miniupnpd
)";

} // namespace

HomeRouter::HomeRouter(const Options& options) : options_(options) {
    std::ofstream(folder_.path() / "chains") << kChains;
    std::ofstream settings(folder_.path() / "settings");
    settings << kSettings << "enable_natpmp=" << (options.hasNatPmp ? "yes" : "no")
             << "\nenable_upnp=" << (options.hasUpnp ? "yes" : "no")
             << "\nsecure_mode=" << (options.isSecure ? "yes" : "no") << '\n';
    if (options.allowed != "none") {
        settings << "allow " << options.allowed << " 0.0.0.0/0 1024-65535\n";
    }
    settings << "deny 0-65535 0.0.0.0/0 0-65535\n";
    settings.close();
    switchOn();
}

HomeRouter::~HomeRouter() {
    switchOff();
}

void HomeRouter::switchOn() {
    run("natA", "nft -f " + (folder_.path() / "chains").string());
    // It says much, and nobody listens.
    const std::string command = "exec ip netns exec natA /usr/sbin/miniupnpd -d -f " +
                                (folder_.path() / "settings").string() + " -P " +
                                (folder_.path() / "pid").string() + " >/dev/null 2>&1";
    daemon_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"sh", "-c", "PATH=$PATH:/usr/sbin:/sbin; " + command});
}

void HomeRouter::switchOff() {
    daemon_.reset();
    run("natA", "nft delete table inet miniupnpd 2>/dev/null");
}

bool HomeRouter::isReady() {
    const std::string port = options_.hasUpnp ? "sport = :1900" : "sport = :5351";
    return eventually([&] { return !run("natA", "ss -Hlun '" + port + "'").empty(); }, 10s);
}

std::string HomeRouter::run(const std::string& name, const std::string& command) {
    const std::string line = "PATH=$PATH:/usr/sbin:/sbin; ip netns exec " + name + " " + command;
    std::string output;
    FILE* pipe = ::popen(line.c_str(), "r");
    std::array<char, 4096> bytes{};
    for (std::size_t size = 1; pipe != nullptr && size > 0;) {
        size = std::fread(bytes.data(), 1, bytes.size(), pipe);
        output.append(bytes.data(), size);
    }
    if (pipe != nullptr) {
        ::pclose(pipe);
    }
    return output;
}

} // namespace ovelo
