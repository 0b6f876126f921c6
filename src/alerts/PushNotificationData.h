#pragma once

#include <cstdint>
#include <string>

namespace ovelo {

/// One message to one phone.
struct PushNotificationData {
    std::string devID;   // the token with which the phone registered
    std::string message; // the text that it shows
    std::int32_t badgeNum = 0;
};

} // namespace ovelo
