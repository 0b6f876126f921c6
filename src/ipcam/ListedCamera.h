#pragma once

#include "ipcam/CameraClient.h"

#include <memory>
#include <utility>

namespace ovelo {

/// One camera of the user's list. Who plays it shares it, so that it goes on when the list is edited.
///
/// thread  main
class ListedCamera final {
public:
    ListedCamera(CameraRecord record, const CameraClientFactory& makeClient)
        : record_(std::move(record))
        , client_(makeClient(record_)) {}

    [[nodiscard]] const CameraRecord& record() const { return record_; }
    [[nodiscard]] CameraClient& client() { return *client_; }

private:
    const CameraRecord record_;
    const std::unique_ptr<CameraClient> client_;
};

using ListedCameraPointer = std::shared_ptr<ListedCamera>;

} // namespace ovelo
