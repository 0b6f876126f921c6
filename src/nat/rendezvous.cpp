#include "nat/rendezvous.h"

#include "platform/Numbers.h"
#include "support/XML/XMLDocument.h"

#include <algorithm>

namespace ovelo::rendezvous {

namespace {

std::string flag(bool value) {
    return value ? "1" : "0";
}

MapAddr peerOf(const My_XMLElement& introducer) {
    const std::string port = introducer.attributeNamed("mapped_port").value_or("");
    return {"", introducer.attributeNamed("gateway_ip").value_or(""), numbers::leadingInteger(port),
            MapAddr::kPeer};
}

} // namespace

Fields registrationFields(const Registration& registration) {
    return {{"access_id", registration.access_id},
            {"service_id", registration.service_id},
            {"is_server", flag(registration.is_server)},
            {"host_ip", registration.host_ip},
            {"udp_port", registration.udp_port},
            {"mapped_ip", registration.mapped_ip},
            {"mapped_port", registration.mapped_port},
            {"nat_type", std::to_string(registration.nat_type)}};
}

Fields matchFields(const std::string& access_id, const std::string& service_id, bool is_server) {
    return {{"access_id", access_id}, {"service_id", service_id}, {"is_server", flag(is_server)}};
}

std::optional<std::vector<MapAddr>> peersOfMatchReply(const std::string& reply) {
    constexpr std::size_t kBeforeXml = 3; // "OK" and a separator
    if (reply == "Failed" || reply.find("OK") == std::string::npos || reply.size() < kBeforeXml) {
        return std::nullopt;
    }
    const auto document = XMLDocument::documentWithXMLString(reply.c_str() + kBeforeXml);
    if (!document) {
        return std::nullopt;
    }
    const auto introducers = document->rootElement().elementsForXPath("//Result/Introducer");
    if (!introducers || introducers->empty()) {
        return std::nullopt;
    }
    std::vector<MapAddr> peers;
    std::transform(introducers->begin(), introducers->end(), std::back_inserter(peers), peerOf);
    return peers;
}

bool isUsableHostIp(const std::string& address) {
    const bool hasFourParts = std::count(address.begin(), address.end(), '.') == 3;
    return hasFourParts && !address.starts_with("127.");
}

} // namespace ovelo::rendezvous
