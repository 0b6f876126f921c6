#pragma once

#include "platform/EDMailAgent.h"
#include "platform/SmtpRoute.h"

#include <optional>

namespace ovelo {

class MailMessage;

/// The mail agent on libcurl.
class SmtpMailAgent final : public EDMailAgent {
public:
    SmtpMailAgent(std::string host, Options options);

    void setPort(int port) override;
    void setUsesSecureConnections(bool secure) override { isSecure_ = secure; }
    void setSkipsExtensionTest(bool skips) override { skipsExtensionTest_ = skips; }
    void setAuthInfo(AuthInfo authInfo) override { authInfo_ = std::move(authInfo); }
    void setStopToken(std::stop_token stop) override { stop_ = std::move(stop); }
    void sendMailWithHeaders(const Headers& headers, const std::string& andBody) override;
    void sendMailWithHeaders(const Headers& headers, const std::string& body,
                             const Data& andAttachment, const std::string& withName) override;

private:
    void send(const MailMessage& message) const;
    [[nodiscard]] SmtpRoute route() const;

    const std::string host_;
    const Options options_;
    std::optional<std::uint16_t> port_;
    bool isSecure_ = false;
    bool skipsExtensionTest_ = false;
    AuthInfo authInfo_;
    std::stop_token stop_;
};

} // namespace ovelo
