#pragma once

#include "platform/HttpClient.h"

#include <QNetworkRequest>

#include <filesystem>
#include <optional>
#include <string>

class QNetworkReply;

/// Between our requests and replies and Qt's.
namespace ovelo::qthttp {

inline constexpr const char* kTimedOut = "The request timed out.";

/// return  nothing when it cannot be sent
std::optional<QNetworkRequest> message(const HttpRequest& request,
                                       const std::filesystem::path& extraAuthorities);

/// The head of a reply that has one.
HttpResponse response(const QNetworkReply& reply);

/// Why a finished reply is not whole, in one line; nothing when it is, whatever its status.
///
/// received  bytes of its body, all of which have been read
std::optional<std::string> failure(const QNetworkReply& reply, qint64 received);

} // namespace ovelo::qthttp
