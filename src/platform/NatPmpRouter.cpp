#include "platform/NatPmpRouter.h"

#include "platform/Polling.h"

#include <natpmp.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/time.h>

#include <array>
#include <functional>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

// The library would ask nine times, for two minutes in all; here it is 0.25, 0.5, 1 and 2 seconds.
constexpr auto kRequest = 3750ms;

/// A session with the router of the default route, for one request: that router may change.
class Session {
public:
    Session() : opened_(::initnatpmp(&session_, 0, 0)) {
        if (hasSocket()) {
            ::fcntl(session_.s, F_SETFD, FD_CLOEXEC);
        }
    }
    ~Session() {
        if (hasSocket()) {
            ::closenatpmp(&session_);
        }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] bool isOpen() const { return opened_ == 0; }
    [[nodiscard]] bool hasGateway() const { return opened_ != NATPMP_ERR_CANNOTGETGATEWAY; }
    natpmp_t& get() { return session_; }

    /// Reads until the answer is there or the limit is over, when it is NATPMP_TRYAGAIN.
    int read(natpmpresp_t& response, const RouterLimit& limit) {
        int result = ::readnatpmpresponseorretry(&session_, &response);
        while (result == NATPMP_TRYAGAIN && limit.left().count() > 0) {
            timeval retry{};
            ::getnatpmprequesttimeout(&session_, &retry);
            std::array<pollfd, 2> ready{pollfd{session_.s, POLLIN, 0},
                                        pollfd{limit.wakeFd, POLLIN, 0}};
            const auto patience =
                1ms + std::chrono::seconds(retry.tv_sec) + std::chrono::microseconds(retry.tv_usec);
            const auto round =
                limit.within(std::chrono::duration_cast<std::chrono::milliseconds>(patience));
            if (pollFor(ready, round.left()) != 0 || ready[1].revents != 0) {
                return NATPMP_TRYAGAIN;
            }
            result = ::readnatpmpresponseorretry(&session_, &response);
        }
        return result;
    }

private:
    /// Also when it could not be opened: the library then leaves its socket behind.
    [[nodiscard]] bool hasSocket() const { return session_.s > 0; }

    natpmp_t session_{};
    int opened_;
};

RouterAnswer answerOf(int result) {
    switch (result) {
    case 0:
        return RouterAnswer::Done;
    case NATPMP_ERR_NOTAUTHORIZED:
    case NATPMP_ERR_OUTOFRESOURCES:
        return RouterAnswer::Refused;
    case NATPMP_ERR_NETWORKFAILURE:
        return RouterAnswer::NotConnected;
    default:
        return RouterAnswer::Silent;
    }
}

/// type  that the response must be of
RouterAnswer ask(const std::function<int(natpmp_t&)>& send, std::uint16_t type,
                 natpmpresp_t& response, const RouterLimit& limit) {
    Session session;
    if (!session.isOpen() || send(session.get()) < 0) {
        return RouterAnswer::Silent;
    }
    const int result = session.read(response, limit.within(kRequest));
    return result == 0 && response.type != type ? RouterAnswer::Silent : answerOf(result);
}

RouterAnswer askForMapping(std::uint16_t localPort, std::uint16_t externalPort,
                           std::uint32_t lifetime, natpmpresp_t& response,
                           const RouterLimit& limit) {
    return ask(
        [=](natpmp_t& session) {
            return ::sendnewportmappingrequest(&session, NATPMP_PROTOCOL_TCP, localPort,
                                               externalPort, lifetime);
        },
        NATPMP_RESPTYPE_TCPPORTMAPPING, response, limit);
}

} // namespace

RouterSearch NatPmpRouter::find(const RouterLimit& limit) {
    RouterSearch found;
    found.hasNetwork = Session().hasGateway();
    auto router = std::make_unique<NatPmpRouter>();
    std::string address;
    if (found.hasNetwork && router->readAddress(address, limit) != RouterAnswer::Silent) {
        found.router = std::move(router);
    }
    return found;
}

RouterAnswer NatPmpRouter::readAddress(std::string& address, const RouterLimit& limit) {
    natpmpresp_t response{};
    const RouterAnswer answer =
        ask([](natpmp_t& session) { return ::sendpublicaddressrequest(&session); },
            NATPMP_RESPTYPE_PUBLICADDRESS, response, limit);
    address.clear();
    if (answer == RouterAnswer::Done) {
        std::array<char, INET_ADDRSTRLEN> text{};
        ::inet_ntop(AF_INET, &response.pnu.publicaddress.addr, text.data(), text.size());
        address = text.data();
        if (address == "0.0.0.0") {
            address.clear();
            return RouterAnswer::NotConnected;
        }
    }
    return answer;
}

std::optional<std::vector<RouterEntry>> NatPmpRouter::readTable(const RouterLimit& /*limit*/) {
    return std::nullopt;
}

RouterAnswer NatPmpRouter::map(std::uint16_t localPort, std::uint16_t& externalPort,
                               std::chrono::seconds lease, const RouterLimit& limit) {
    natpmpresp_t response{};
    const RouterAnswer answer = askForMapping(
        localPort, externalPort, static_cast<std::uint32_t>(lease.count()), response, limit);
    if (answer != RouterAnswer::Done) {
        return answer;
    }
    const auto& mapping = response.pnu.newportmapping;
    if (mapping.privateport != localPort || mapping.mappedpublicport == 0 ||
        mapping.lifetime == 0) {
        return RouterAnswer::Silent;
    }
    externalPort = mapping.mappedpublicport;
    return answer;
}

RouterAnswer NatPmpRouter::unmap(std::uint16_t localPort, std::uint16_t /*externalPort*/,
                                 const RouterLimit& limit) {
    natpmpresp_t response{};
    return askForMapping(localPort, 0, 0, response, limit); // RFC 6886, 3.4
}

} // namespace ovelo
