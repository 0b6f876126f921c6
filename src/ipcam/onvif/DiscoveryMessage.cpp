#include "ipcam/onvif/DiscoveryMessage.h"

#include "ipcam/onvif/SoapText.h"
#include "platform/Utf8.h"
#include "support/XML/XMLDocument.h"

#include <fmt/format.h>

#include <cstddef>
#include <optional>

namespace ovelo::discovery {

namespace {

constexpr std::size_t kMostMatches = 64;   // in one answer
constexpr std::size_t kMostAddresses = 8;  // of one device
constexpr std::size_t kLongestText = 1024; // bytes
constexpr std::string_view kNameScope = "onvif://www.onvif.org/name/";

bool isAddress(const std::string& text) {
    return text.size() <= kLongestText &&
           (text.starts_with("http://") || text.starts_with("https://"));
}

/// Scopes are addresses, in which blanks and the like are written as %20.
std::string unescaped(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string result;
    while (!text.empty()) {
        const auto digit = [&](std::size_t at) {
            return at < text.size() ? kDigits.find(static_cast<char>(text[at] | 0x20))
                                    : std::string_view::npos;
        };
        const std::size_t high = digit(1);
        const std::size_t low = digit(2);
        if (text.front() == '%' && high != std::string_view::npos &&
            low != std::string_view::npos) {
            result += static_cast<char>(high * kDigits.size() + low);
            text.remove_prefix(3);
        } else {
            result += text.front();
            text.remove_prefix(1);
        }
    }
    return result;
}

std::string nameIn(const std::string& scopes) {
    for (const std::string& scope : soap::words(scopes)) {
        if (scope.starts_with(kNameScope) && scope.size() <= kLongestText) {
            std::string name = unescaped(scope.substr(kNameScope.size()));
            return isUtf8(name) ? name : std::string();
        }
    }
    return {};
}

bool isVideoDevice(const std::string& types) {
    for (const std::string& type : soap::words(types)) {
        if (type.substr(type.find(':') + 1) == "NetworkVideoTransmitter") {
            return true;
        }
    }
    return false;
}

std::optional<FoundCamera> camera(const My_XMLElement& match) {
    FoundCamera found;
    found.endpoint = soap::firstText(match, "Address");
    for (std::string& address : soap::words(soap::firstText(match, "XAddrs"))) {
        if (isAddress(address) && found.addresses.size() < kMostAddresses) {
            found.addresses.push_back(std::move(address));
        }
    }
    if (found.addresses.empty() || found.endpoint.size() > kLongestText ||
        !isVideoDevice(soap::firstText(match, "Types"))) {
        return std::nullopt;
    }
    found.name = nameIn(soap::firstText(match, "Scopes"));
    return found;
}

} // namespace

std::string probe(std::string_view messageId) {
    return fmt::format(
        R"(<?xml version="1.0" encoding="UTF-8"?>)"
        R"(<e:Envelope xmlns:e="http://www.w3.org/2003/05/soap-envelope")"
        R"( xmlns:w="http://schemas.xmlsoap.org/ws/2004/08/addressing")"
        R"( xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery")"
        R"( xmlns:dn="http://www.onvif.org/ver10/network/wsdl">)"
        R"(<e:Header><w:MessageID>urn:uuid:{}</w:MessageID>)"
        R"(<w:To e:mustUnderstand="true">urn:schemas-xmlsoap-org:ws:2005:04:discovery</w:To>)"
        R"(<w:Action e:mustUnderstand="true">)"
        R"(http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe</w:Action></e:Header>)"
        R"(<e:Body><d:Probe><d:Types>dn:NetworkVideoTransmitter</d:Types></d:Probe></e:Body>)"
        R"(</e:Envelope>)",
        messageId);
}

std::vector<FoundCamera> probeMatches(std::string_view text, std::string_view messageId) {
    std::vector<FoundCamera> cameras;
    const auto document = XMLDocument::documentWithXMLString(std::string(text).c_str());
    if (!document || !soap::firstText(document->rootElement(), "RelatesTo").ends_with(messageId)) {
        return cameras;
    }
    for (const My_XMLElement& match : soap::elements(document->rootElement(), "ProbeMatch")) {
        if (auto found = camera(match)) {
            cameras.push_back(*std::move(found));
        }
        if (cameras.size() == kMostMatches) {
            break;
        }
    }
    return cameras;
}

} // namespace ovelo::discovery
