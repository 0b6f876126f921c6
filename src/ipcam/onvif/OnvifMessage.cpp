#include "ipcam/onvif/OnvifMessage.h"

#include "ipcam/onvif/SoapText.h"
#include "platform/Sha1.h"
#include "support/XML/XMLDocument.h"

#include <fmt/format.h>

#include <chrono>
#include <cstddef>
#include <memory>

namespace ovelo::onvif {

namespace {

constexpr std::size_t kLongestText = 1024; // bytes
constexpr auto kTimeout = std::chrono::seconds(10);

/// The camera's own words about what it refuses.
std::string faultOf(const My_XMLElement& root) {
    const auto faults = soap::elements(root, "Fault");
    if (faults.empty()) {
        return {};
    }
    const std::string text = soap::firstText(faults.front(), "Text");
    return "the camera refuses" +
           (text.empty() || text.size() > kLongestText ? std::string() : ": " + text);
}

using Document = std::unique_ptr<XMLDocument>;

Result<Document> documentOf(std::string_view reply) {
    Document document = XMLDocument::documentWithXMLString(std::string(reply).c_str());
    if (!document) {
        return Failure{"the reply is no XML"};
    }
    if (std::string fault = faultOf(document->rootElement()); !fault.empty()) {
        return Failure{std::move(fault)};
    }
    return document;
}

Result<std::string> checked(std::string text, const char* what) {
    if (text.empty() || text.size() > kLongestText) {
        return Failure{std::string("the reply has no ") + what};
    }
    return text;
}

} // namespace

std::string securityHeader(const std::optional<OnvifCredentials>& credentials, const Stamp& stamp) {
    if (!credentials) {
        return {};
    }
    return fmt::format(
        R"(<Security xmlns="http://docs.oasis-open.org/wss/2004/01/)"
        R"(oasis-200401-wss-wssecurity-secext-1.0.xsd" e:mustUnderstand="true">)"
        R"(<UsernameToken><Username>{}</Username>)"
        R"(<Password Type="http://docs.oasis-open.org/wss/2004/01/)"
        R"(oasis-200401-wss-username-token-profile-1.0#PasswordDigest">{}</Password>)"
        R"(<Nonce EncodingType="http://docs.oasis-open.org/wss/2004/01/)"
        R"(oasis-200401-wss-soap-message-security-1.0#Base64Binary">{}</Nonce>)"
        R"(<Created xmlns="http://docs.oasis-open.org/wss/2004/01/)"
        R"(oasis-200401-wss-wssecurity-utility-1.0.xsd">{}</Created></UsernameToken></Security>)",
        soap::escaped(credentials->user),
        sha1Base64(stamp.nonce + stamp.created + credentials->password), base64Of(stamp.nonce),
        stamp.created);
}

std::string getCapabilities() {
    return R"(<GetCapabilities xmlns="http://www.onvif.org/ver10/device/wsdl">)"
           R"(<Category>Media</Category></GetCapabilities>)";
}

std::string getProfiles() {
    return R"(<GetProfiles xmlns="http://www.onvif.org/ver10/media/wsdl"/>)";
}

std::string getSnapshotUri(std::string_view profileToken) {
    return fmt::format(R"(<GetSnapshotUri xmlns="http://www.onvif.org/ver10/media/wsdl">)"
                       R"(<ProfileToken>{}</ProfileToken></GetSnapshotUri>)",
                       soap::escaped(profileToken));
}

std::string getStreamUri(std::string_view profileToken) {
    return fmt::format(
        R"(<GetStreamUri xmlns="http://www.onvif.org/ver10/media/wsdl"><StreamSetup>)"
        R"(<Stream xmlns="http://www.onvif.org/ver10/schema">RTP-Unicast</Stream>)"
        R"(<Transport xmlns="http://www.onvif.org/ver10/schema"><Protocol>RTSP</Protocol>)"
        R"(</Transport></StreamSetup><ProfileToken>{}</ProfileToken></GetStreamUri>)",
        soap::escaped(profileToken));
}

HttpRequest request(const std::string& address, const std::string& securityHeader,
                    const std::string& body) {
    HttpRequest request;
    request.method = "POST";
    request.url = address;
    request.timeout = kTimeout;
    request.headers.push_back({"Content-Type", "application/soap+xml; charset=utf-8"});
    request.body = fmt::format(R"(<?xml version="1.0" encoding="UTF-8"?>)"
                               R"(<e:Envelope xmlns:e="http://www.w3.org/2003/05/soap-envelope">)"
                               R"(<e:Header>{}</e:Header><e:Body>{}</e:Body></e:Envelope>)",
                               securityHeader, body);
    return request;
}

Result<std::string> mediaAddress(std::string_view reply) {
    const auto document = documentOf(reply);
    if (!document) {
        return Failure{document.error()};
    }
    const auto media = soap::elements(document.value()->rootElement(), "Media");
    return checked(media.empty() ? "" : soap::firstText(media.front(), "XAddr"), "media service");
}

Result<std::string> profileToken(std::string_view reply) {
    const auto document = documentOf(reply);
    if (!document) {
        return Failure{document.error()};
    }
    const auto profiles = soap::elements(document.value()->rootElement(), "Profiles");
    return checked(profiles.empty() ? "" : profiles.front().attributeNamed("token").value_or(""),
                   "profile");
}

Result<std::string> uri(std::string_view reply) {
    const auto document = documentOf(reply);
    if (!document) {
        return Failure{document.error()};
    }
    return checked(soap::firstText(document.value()->rootElement(), "Uri"), "address");
}

} // namespace ovelo::onvif
