#pragma once

#include "ipcam/CameraRecord.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace ovelo {

/// The fetching of pictures from one network camera, as the list and the editor know it.
///
/// thread    main
/// lifetime  its end stops it
class CameraClient {
public:
    /// Outcomes of the first request to a camera.
    enum ReqReturnCode : std::int32_t {
        NoCredentials = 0, // asked for, and none there
        Rejected = 1,
        Received = 2,
        Failed = 3,
        TimedOut = 4,
        InProgress = 5,
    };

    virtual ~CameraClient() = default;

    /// Starts to fetch. Nothing when it is started.
    virtual void start() = 0;
    virtual void stop() = 0;

    /// It fetches, or shall go on to.
    [[nodiscard]] virtual bool started() const = 0;

    /// One of ReqReturnCode, or another number.
    [[nodiscard]] virtual std::int32_t reqReturnCode() const = 0;
};

/// Makes the client of a camera; it is not started.
using CameraClientFactory = std::function<std::unique_ptr<CameraClient>(const CameraRecord&)>;

} // namespace ovelo
