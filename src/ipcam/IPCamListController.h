#pragma once

#include "ipcam/IPCamItemController.h"
#include "ipcam/ListedCamera.h"

#include <sigc++/sigc++.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

class DriverSetting;
class Logger;
class Settings;
class UserAlerts;

/// The user's list of network cameras, and its persistence in the setting "ipcamlist".
///
/// What another process writes there is taken over. A value that cannot be read whole is kept under
/// "ipcamlist_damaged" before anything can overwrite it.
///
/// thread  main
class IPCamListController final : public sigc::trackable {
public:
    /// What it works with; all of it outlives the object.
    struct Environment {
        Settings& settings;
        Logger& log;
        UserAlerts& alerts;
        DriverSetting& driverSetting;
        CameraClientFactory makeClient;     // of a camera in the list
        CameraClientFactory makeTestClient; // of one that is tested in the editor
        /// Timer::once.
        IPCamItemController::TimerFactory timer;
    };

    using Cameras = std::vector<ListedCameraPointer>;

    /// Loads the list.
    explicit IPCamListController(Environment environment);
    ~IPCamListController() = default;
    IPCamListController(const IPCamListController&) = delete;
    IPCamListController& operator=(const IPCamListController&) = delete;

    /// Makes all cameras anew from the setting.
    void loadIpCamArray();

    /// Writes the setting.
    void saveIpCamArray();

    /// The first camera of exactly this name, or null.
    [[nodiscard]] ListedCameraPointer getIPCamWithName(std::string_view name) const;

    // The table.
    [[nodiscard]] std::size_t numberOfRowsInTableView() const { return ipCamArray_.size(); }

    /// column  "0" name, "1" URL, "2" user, "3" password; for any other one the cell is empty
    [[nodiscard]] std::string tableView(const std::string& column, std::size_t row) const;

    /// The row that the user has selected, or none.
    void rowChangeHandler(std::optional<std::size_t> row);

    // The buttons.
    void addAction();
    void editAction();
    void deleteAction();
    void closeAction();

    /// Takes an edited camera into the list, at its end, in the place of `origCam`, which may be null.
    void updateIpCam(const CameraRecord& cam, const ListedCameraPointer& origCam);

    [[nodiscard]] const Cameras& ipCamArray() const { return ipCamArray_; }
    void setIpCamArray(const Cameras& cameras);
    [[nodiscard]] bool enableDeleteEdit() const { return enableDeleteEdit_; }
    void setEnableDeleteEdit(bool enable);

    [[nodiscard]] IPCamItemController& ipCamItemController() { return ipCamItemController_; }
    [[nodiscard]] DriverSetting& driverSetting() { return environment_.driverSetting; }

    /// The table has other rows now; none of them is selected.
    sigc::signal<void()>& reloadData() { return reloadData_; }
    sigc::signal<void()>& enableDeleteEditChanged() { return enableDeleteEditChanged_; }
    /// The list panel shall be hidden.
    sigc::signal<void()>& orderOut() { return orderOut_; }

private:
    void settingsChanged();
    void keepDamaged(const std::string& text);
    [[nodiscard]] std::string stored() const;
    [[nodiscard]] ListedCameraPointer selectedCamera() const;
    void announceRows();

    IPCamItemController ipCamItemController_;
    Cameras ipCamArray_;
    bool enableDeleteEdit_ = false;

    Environment environment_;
    std::string known_; // the setting as we loaded or wrote it
    std::optional<std::size_t> selectedRow_;
    sigc::signal<void()> reloadData_;
    sigc::signal<void()> enableDeleteEditChanged_;
    sigc::signal<void()> orderOut_;
};

} // namespace ovelo
