#include "ipcam/GrabberClient.h"

namespace ovelo {

static_assert(CameraClient::NoCredentials == static_cast<int>(IPCam::AuthenticationRequired));
static_assert(CameraClient::Rejected == static_cast<int>(IPCam::AuthenticationFailed));
static_assert(CameraClient::Received == static_cast<int>(IPCam::ResponseReceived));
static_assert(CameraClient::Failed == static_cast<int>(IPCam::RequestFailed));
static_assert(CameraClient::InProgress == static_cast<int>(IPCam::InProgress));

GrabberClient::GrabberClient(const CameraRecord& record, const IPCamEnvironment& environment,
                             bool isWatched)
    : camera_(environment) {
    camera_.setName(record.name);
    camera_.setUrlString(record.urlString);
    camera_.setUserId(record.userId);
    camera_.setPassword(record.password);
    camera_.setReconnects(isWatched);
}

CameraClientFactory GrabberClient::factory(const IPCamEnvironment& environment, bool isWatched) {
    return [environment, isWatched](const CameraRecord& record) -> std::unique_ptr<CameraClient> {
        return std::make_unique<GrabberClient>(record, environment, isWatched);
    };
}

} // namespace ovelo
