#pragma once

#include <string>

/// Answers of cameras, as they look on the wire.
namespace ovelo::onviftexts {

/// An answer to a probe.
inline std::string probeMatch(const std::string& relatesTo, const std::string& types,
                              const std::string& addresses, const std::string& scopes) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<SOAP-ENV:Envelope xmlns:SOAP-ENV="http://www.w3.org/2003/05/soap-envelope"
 xmlns:wsa="http://schemas.xmlsoap.org/ws/2004/08/addressing"
 xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery">
<SOAP-ENV:Header><wsa:RelatesTo>)" +
           relatesTo +
           R"(</wsa:RelatesTo></SOAP-ENV:Header>
<SOAP-ENV:Body><d:ProbeMatches><d:ProbeMatch>
<wsa:EndpointReference><wsa:Address>urn:uuid:1234</wsa:Address></wsa:EndpointReference>
<d:Types>)" +
           types + "</d:Types><d:Scopes>" + scopes + "</d:Scopes><d:XAddrs>" + addresses +
           R"(</d:XAddrs><d:MetadataVersion>1</d:MetadataVersion>
</d:ProbeMatch></d:ProbeMatches></SOAP-ENV:Body></SOAP-ENV:Envelope>)";
}

inline std::string envelope(const std::string& body) {
    return R"(<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope" )"
           R"(xmlns:trt="http://www.onvif.org/ver10/media/wsdl" )"
           R"(xmlns:tds="http://www.onvif.org/ver10/device/wsdl" )"
           R"(xmlns:tt="http://www.onvif.org/ver10/schema"><s:Body>)" +
           body + "</s:Body></s:Envelope>";
}

inline std::string capabilities(const std::string& mediaAddress) {
    return envelope("<tds:GetCapabilitiesResponse><tds:Capabilities><tt:Media><tt:XAddr>" +
                    mediaAddress +
                    "</tt:XAddr></tt:Media></tds:Capabilities></tds:GetCapabilitiesResponse>");
}

inline std::string profiles(const std::string& token) {
    return envelope(R"(<trt:GetProfilesResponse><trt:Profiles fixed="true" token=")" + token +
                    R"("><tt:Name>main</tt:Name></trt:Profiles><trt:Profiles token="second"/>)"
                    R"(</trt:GetProfilesResponse>)");
}

inline std::string mediaUri(const std::string& uri) {
    return envelope("<trt:Response><trt:MediaUri><tt:Uri>" + uri +
                    "</tt:Uri></trt:MediaUri></trt:Response>");
}

inline std::string fault(const std::string& text) {
    return envelope(R"(<s:Fault><s:Code><s:Value>s:Sender</s:Value></s:Code><s:Reason>)"
                    R"(<s:Text xml:lang="en">)" +
                    text + "</s:Text></s:Reason></s:Fault>");
}

} // namespace ovelo::onviftexts
