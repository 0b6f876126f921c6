#pragma once

#include "platform/ChildProcess.h"

#include <sigc++/sigc++.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

namespace ovelo {

class UserAlerts;

/// Tells whether the camera driver is installed, and installs or removes it as the user asks.
///
/// The driver is a component in a folder of the system. Where we may not write there the user is
/// asked for an administrator's password (polkit).
///
/// thread  main
class DriverSetting final {
public:
    struct Paths {
        /// In the application's resources.
        std::filesystem::path archive;
        /// The driver is installed exactly when this exists.
        std::filesystem::path component = "/Library/QuickTime/IPCam.component";
        std::filesystem::path workingCopy = "/tmp/IPCam.component.zip";
        std::filesystem::path unpackFolder = "/tmp";
    };

    /// What it works with; all of it outlives the object.
    struct Environment {
        UserAlerts& alerts;
        Paths paths;
        /// ChildProcess::start.
        std::function<std::unique_ptr<ChildProcess>(
            const ChildProcess::Request&, std::function<void(const ChildProcess::Ending&)>)>
            start;
        /// How the unpacked component comes into its place.
        std::function<std::error_code(const std::filesystem::path& from,
                                      const std::filesystem::path& to)>
            move = &DriverSetting::move;
    };

    explicit DriverSetting(Environment environment);
    ~DriverSetting() = default;
    DriverSetting(const DriverSetting&) = delete;
    DriverSetting& operator=(const DriverSetting&) = delete;

    [[nodiscard]] bool isVideoDriverInstalled() const;

    /// Sets both texts after what is installed now.
    void loadDriverStatus();

    /// Asks the user, and on consent installs the driver, or removes it when it is there. What fails
    /// is shown in an alert. Harmless while a former one is under way.
    void videoDriverAction();

    [[nodiscard]] const std::string& videoDriverStatusText() const {
        return videoDriverStatusText_;
    }
    void setVideoDriverStatusText(const std::string& text);
    [[nodiscard]] const std::string& videoDriverButtonText() const {
        return videoDriverButtonText_;
    }
    void setVideoDriverButtonText(const std::string& text);

    /// Between the user's consent and the end of what it started.
    [[nodiscard]] bool isBusy() const { return isBusy_; }

    /// A text, or isBusy(), has another value now.
    sigc::signal<void()>& changed() { return changed_; }

    /// Moves a folder, also to another file system; makes the folder that it comes into. Never
    /// overwrites anything.
    static std::error_code move(const std::filesystem::path& from, const std::filesystem::path& to);

private:
    void askToInstall();
    void askToUninstall();
    void install();
    void uninstall();
    void unpack();
    void moveIntoPlace();
    void moveAsRoot();
    void failed(const std::string& description);
    void done();
    [[nodiscard]] std::filesystem::path unpacked() const;

    std::string videoDriverStatusText_;
    std::string videoDriverButtonText_;

    const Environment environment_;
    bool isBusy_ = false;
    bool hasUnpacked_ = false; // in this attempt
    sigc::signal<void()> changed_;
    // Two, for the end of the first one starts the second.
    std::unique_ptr<ChildProcess> unpacking_;
    std::unique_ptr<ChildProcess> asRoot_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true); // for answers that come late
};

} // namespace ovelo
