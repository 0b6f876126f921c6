#pragma once

#include "platform/HttpRequest.h"
#include "platform/Result.h"

#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// Who asks a camera. In its messages stand a digest of the password, of a random number and of the
/// time, never the password.
struct OnvifCredentials {
    std::string user;
    std::string password;
};

/// The messages in which a camera is asked for the addresses of its pictures: SOAP 1.2 over HTTP.
///
/// thread  any
namespace onvif {

/// The security header's fields, for requests that are known beforehand.
struct Stamp {
    std::string nonce;   // any bytes, other ones for each message
    std::string created; // "2024-01-31T22:59:58Z"
};

/// return  nothing without credentials
std::string securityHeader(const std::optional<OnvifCredentials>& credentials, const Stamp& stamp);

/// The body of each request.
std::string getCapabilities();
std::string getProfiles();
std::string getSnapshotUri(std::string_view profileToken);
std::string getStreamUri(std::string_view profileToken);

/// A whole request.
HttpRequest request(const std::string& address, const std::string& securityHeader,
                    const std::string& body);

// What is read of the replies: the value, or why there is none. Each is bounded in length.

/// The address of the media service.
Result<std::string> mediaAddress(std::string_view reply);

/// The token of the first profile.
Result<std::string> profileToken(std::string_view reply);

/// The address of a picture or a stream.
Result<std::string> uri(std::string_view reply);

} // namespace onvif

} // namespace ovelo
