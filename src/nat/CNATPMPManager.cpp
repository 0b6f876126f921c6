#include "nat/CNATPMPManager.h"

#include "platform/Console.h"
#include "support/Logger.h"

#include <natpmp.h>

#include <fmt/format.h>

#include <cstring>

namespace ovelo {

struct CNATPMPManager::Session {
    Session() : opened(::initnatpmp(&natpmp, 0, 0)) {}
    ~Session() {
        if (natpmp.s > 0) { // also when it could not be opened
            ::closenatpmp(&natpmp);
        }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Kept: asks again and again without waiting.
    int read(natpmpresp_t& response) {
        int result = NATPMP_TRYAGAIN;
        while (result == NATPMP_TRYAGAIN) {
            result = ::readnatpmpresponseorretry(&natpmp, &response);
        }
        return result;
    }

    natpmp_t natpmp{};
    const int opened; // 0, or why it is not
};

CNATPMPManager::CNATPMPManager(Logger& log) : session_(std::make_unique<Session>()), log_(log) {
}

CNATPMPManager::~CNATPMPManager() = default;

std::optional<CNATPMPManager::Address> CNATPMPManager::externalAddress() {
    natpmpresp_t response{};
    if (session_->opened != 0 || ::sendpublicaddressrequest(&session_->natpmp) < 0 ||
        session_->read(response) != 0 || response.type != NATPMP_RESPTYPE_PUBLICADDRESS) {
        return std::nullopt;
    }
    std::memcpy(publicAddress_.data(), &response.pnu.publicaddress.addr, publicAddress_.size());
    return publicAddress_;
}

bool CNATPMPManager::openPortForProtocol(Protocol protocol, std::uint16_t privatePort,
                                         std::uint16_t publicPort, std::uint32_t lifetime,
                                         int* error) {
    natpmpresp_t response{};
    int result = session_->opened;
    if (result == 0) {
        const int sent = ::sendnewportmappingrequest(&session_->natpmp, static_cast<int>(protocol),
                                                     privatePort, publicPort, lifetime);
        result = sent < 0 ? sent : session_->read(response);
    }
    if (error != nullptr) {
        *error = result;
    }
    if (result != 0) {
        return false;
    }
    const auto& mapping = response.pnu.newportmapping;
    for (const std::string& line : {fmt::format("mapped public port: {}", mapping.mappedpublicport),
                                    fmt::format(" private port: {}", mapping.privateport),
                                    fmt::format("mapped lifetime: {}", mapping.lifetime)}) {
        console::write(line);
        log_.write(line);
    }
    return true;
}

} // namespace ovelo
