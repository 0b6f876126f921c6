#include "app/ListedCameras.h"

#include "ipcam/IPCamListController.h"

#include <utility>

namespace ovelo {

ListedCameras::ListedCameras(IPCamListController& list) : list_(list) {
    publish();
    list_.reloadData().connect(sigc::mem_fun(*this, &ListedCameras::publish));
}

std::vector<NetworkCameras::Camera> ListedCameras::cameras() const {
    const std::lock_guard lock(lock_);
    return cameras_;
}

void ListedCameras::publish() {
    std::vector<Camera> cameras;
    for (const ListedCameraPointer& camera : list_.ipCamArray()) {
        cameras.push_back({camera->record().name, camera->record().urlString});
    }
    const std::lock_guard lock(lock_);
    cameras_ = std::move(cameras);
}

void ListedCameras::start(const std::string& name) {
    if (playing_) {
        playing_->client().stop();
    }
    playing_ = list_.getIPCamWithName(name);
    if (playing_) {
        playing_->client().start();
    }
}

void ListedCameras::stop(const std::string& name) {
    // By the name that it had when it was started; the list may have another one by now.
    if (playing_ && playing_->record().name == name) {
        playing_->client().stop();
        playing_.reset();
    }
}

} // namespace ovelo
