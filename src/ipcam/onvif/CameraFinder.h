#pragma once

#include "ipcam/onvif/DiscoveryMessage.h"
#include "platform/Result.h"

#include <chrono>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

namespace ovelo {

/// Looks for cameras on the local network.
class CameraFinder final {
public:
    struct Options {
        /// To whom the question goes; a group's address is asked through every interface.
        std::string address = "239.255.255.250";
        std::uint16_t port = 3702;
        std::chrono::milliseconds duration = std::chrono::seconds(3);
    };

    static constexpr std::size_t kMostCameras = 256;

    CameraFinder() = delete;

    /// Asks twice, and gathers what answers in time, each camera once.
    ///
    /// stop    ends it early, within 100 ms
    /// errors  a failure when nobody could be asked
    /// thread  any; takes as long as `duration`
    static Result<std::vector<FoundCamera>> find(const Options& options,
                                                 const std::stop_token& stop = {});
};

} // namespace ovelo
