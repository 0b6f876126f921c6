#include "ipcam/IPCamListController.h"

#include "platform/Numbers.h"
#include "platform/Settings.h"
#include "support/DriverSetting.h"
#include "support/Logger.h"

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

constexpr const char* kListKey = "ipcamlist";
constexpr const char* kDamagedKey = "ipcamlist_damaged";

} // namespace

IPCamListController::IPCamListController(Environment environment)
    : ipCamItemController_({environment.alerts, environment.makeTestClient, environment.timer,
                            [this](const CameraRecord& cam, const ListedCameraPointer& origCam) {
                                updateIpCam(cam, origCam);
                            }})
    , environment_(std::move(environment)) {
    loadIpCamArray();
    environment_.settings.changed().connect(
        sigc::mem_fun(*this, &IPCamListController::settingsChanged));
}

std::string IPCamListController::stored() const {
    // Written by hand without quotation marks, the commas of the separators make an array of it.
    std::string text;
    const auto pieces = environment_.settings.array(kListKey).value_or(Settings::Array{});
    for (const std::string& piece : pieces) {
        text += (&piece == &pieces.front() ? "" : ",") + piece;
    }
    return text;
}

void IPCamListController::loadIpCamArray() {
    ipCamArray_.clear();
    known_ = stored();
    const cameralist::Parsed parsed = cameralist::parse(known_);
    if (parsed.isDamaged) {
        keepDamaged(known_);
    }
    for (const CameraRecord& camera : parsed.cameras) {
        ipCamArray_.push_back(std::make_shared<ListedCamera>(camera, environment_.makeClient));
    }
}

void IPCamListController::keepDamaged(const std::string& text) {
    const std::string kept = environment_.settings.string(kDamagedKey).value_or("");
    if (kept.find(text) != std::string::npos) {
        return;
    }
    environment_.log.write("The list of network cameras is damaged; its text is kept under "
                           "\"ipcamlist_damaged\" in the settings.\n");
    environment_.settings.setString(kDamagedKey, kept.empty() ? text : kept + "\n" + text);
}

void IPCamListController::saveIpCamArray() {
    std::vector<CameraRecord> records;
    records.reserve(ipCamArray_.size());
    for (const ListedCameraPointer& camera : ipCamArray_) {
        records.push_back(camera->record());
    }
    known_ = cameralist::format(records);
    environment_.settings.setString(kListKey, known_);
}

void IPCamListController::settingsChanged() {
    if (stored() != known_) {
        loadIpCamArray();
        announceRows();
    }
}

ListedCameraPointer IPCamListController::getIPCamWithName(std::string_view name) const {
    const auto found =
        std::find_if(ipCamArray_.begin(), ipCamArray_.end(),
                     [name](const auto& camera) { return camera->record().name == name; });
    return found == ipCamArray_.end() ? nullptr : *found;
}

std::string IPCamListController::tableView(const std::string& column, std::size_t row) const {
    if (row >= ipCamArray_.size()) {
        return {};
    }
    const CameraRecord& camera = ipCamArray_[row]->record();
    switch (numbers::leadingInteger(column)) {
    case 0:
        return camera.name;
    case 1:
        return camera.urlString;
    case 2:
        return camera.userId;
    case 3:
        return camera.password;
    default:
        return {};
    }
}

void IPCamListController::rowChangeHandler(std::optional<std::size_t> row) {
    selectedRow_ = row;
    setEnableDeleteEdit(row.has_value());
}

void IPCamListController::setEnableDeleteEdit(bool enable) {
    enableDeleteEdit_ = enable;
    enableDeleteEditChanged_.emit();
}

ListedCameraPointer IPCamListController::selectedCamera() const {
    const bool isRow = selectedRow_ && *selectedRow_ < ipCamArray_.size();
    return isRow ? ipCamArray_[*selectedRow_] : nullptr;
}

void IPCamListController::addAction() {
    if (environment_.driverSetting.isVideoDriverInstalled()) {
        ipCamItemController_.loadCam(nullptr);
    } else {
        environment_.driverSetting.videoDriverAction();
    }
}

void IPCamListController::editAction() {
    if (const ListedCameraPointer camera = selectedCamera()) {
        ipCamItemController_.loadCam(camera);
    }
}

void IPCamListController::deleteAction() {
    const ListedCameraPointer camera = selectedCamera();
    if (!camera) {
        return;
    }
    std::erase(ipCamArray_, camera);
    saveIpCamArray();
    loadIpCamArray();
    announceRows();
}

void IPCamListController::closeAction() {
    orderOut_.emit();
}

void IPCamListController::updateIpCam(const CameraRecord& cam, const ListedCameraPointer& origCam) {
    auto former = std::find(ipCamArray_.begin(), ipCamArray_.end(), origCam);
    if (former == ipCamArray_.end() && origCam) {
        // The list was loaded anew meanwhile.
        former = std::find_if(ipCamArray_.begin(), ipCamArray_.end(), [&](const auto& camera) {
            return camera->record() == origCam->record();
        });
    }
    if (former != ipCamArray_.end()) {
        ipCamArray_.erase(former);
    }
    ipCamArray_.push_back(std::make_shared<ListedCamera>(cam, environment_.makeClient));
    saveIpCamArray();
    announceRows();
}

void IPCamListController::setIpCamArray(const Cameras& cameras) {
    ipCamArray_ = cameras;
    announceRows();
}

void IPCamListController::announceRows() {
    rowChangeHandler(std::nullopt);
    reloadData_.emit();
}

} // namespace ovelo
