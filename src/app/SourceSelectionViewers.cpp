// What viewers are told about the sources, and how they choose.

#include "app/DataSourceRequest.h"
#include "app/SourceSelection.h"

#include <fmt/format.h>

#include <algorithm>

namespace ovelo {

std::string SourceSelection::getDataSource() const {
    const MutexLock lock(publishedLock_);
    return dataSource_;
}

std::optional<std::string> SourceSelection::videoDeviceDisplayName() const {
    const MutexLock lock(publishedLock_);
    return displayName_;
}

std::string SourceSelection::dataSourceLine() const {
    std::string line = "DATA_SOURCE";
    const auto selectedName = selectedVideoDeviceName();
    for (const auto& name : videoDeviceNames_.value_or(Names())) {
        line += fmt::format("|{}|{}|v|{:d}", name, identifierOf(name), name == selectedName);
    }
    for (const auto& device : audioDevices_.value_or(DeviceList())) {
        line += fmt::format("|{}|{}|a|{:d}", device->localizedDisplayName(),
                            device->uniqueModelIdentifier(), device == selectedAudioDevice());
    }
    return line + "\n";
}

void SourceSelection::publishForViewers() {
    const auto device = selectedVideoDevice();
    std::string line = dataSourceLine();
    std::optional<std::string> name;
    if (device) {
        name = device->localizedDisplayName();
    }
    const MutexLock lock(publishedLock_);
    dataSource_ = std::move(line);
    displayName_ = std::move(name);
}

void SourceSelection::resetDataSource(std::string_view text) {
    const auto request = DataSourceRequest::parse(text);
    if (!request) {
        return;
    }
    if (request->videoName != selectedVideoDeviceName()) {
        const Names& names = videoDeviceNames();
        if (std::find(names.begin(), names.end(), request->videoName) != names.end()) {
            setSelectedVideoDeviceName(request->videoName);
        }
    }
    const auto current = selectedAudioDevice();
    if (current && current->localizedDisplayName() == request->audioName) {
        return;
    }
    const DeviceList devices = audioDevices();
    const auto wanted = std::find_if(devices.begin(), devices.end(), [&](const auto& device) {
        return device->localizedDisplayName() == request->audioName;
    });
    if (wanted != devices.end()) {
        setSelectedAudioDevice(*wanted);
    }
}

} // namespace ovelo
