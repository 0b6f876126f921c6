#pragma once

#include "nat/MapAddr.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What is said to the rendezvous service, through which peers find each other, and what it
/// answers. Any thread.
namespace ovelo::rendezvous {

inline constexpr const char* kRegistrationPath = "/P2P/IntroducerWS.aspx";
inline constexpr const char* kMatchPath = "/P2P/MatchWS.aspx";
inline constexpr const char* kServiceId = "Ovelo";

/// A form's fields in the order in which they go out.
using Fields = std::vector<std::pair<std::string, std::string>>;

/// A server's own address, as it is registered.
struct Registration {
    std::string access_id; // the account's e-mail address
    std::string service_id = kServiceId;
    bool is_server = true;
    std::string host_ip;
    std::string udp_port = "1726";
    std::string mapped_ip = "0.0.0.0";
    std::string mapped_port = "1726";
    int nat_type = 0;
};

Fields registrationFields(const Registration& registration);
Fields matchFields(const std::string& access_id, const std::string& service_id, bool is_server);

/// The peers in a reply to a match request.
///
/// return  nothing when the reply is a refusal, cannot be read or names nobody: the peers that are
///         known stay
std::optional<std::vector<MapAddr>> peersOfMatchReply(const std::string& reply);

/// Of a computer's addresses the IPv4 ones that do not lead back to itself.
bool isUsableHostIp(const std::string& address);

} // namespace ovelo::rendezvous
