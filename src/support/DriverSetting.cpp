#include "support/DriverSetting.h"

#include "support/UserAlerts.h"

#include <sys/stat.h>
#include <unistd.h>

#include <utility>
#include <vector>

namespace ovelo {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto kUnpackLimit = 60s;
constexpr auto kPasswordLimit = 5min; // somebody has to type it

/// What root does; the arguments are the folder, the unpacked component and the installed one. The
/// files become root's own.
constexpr const char* kInstallScript =
    R"(set -e; umask 022; mkdir -p -- "$1"; test ! -e "$3"; rm -rf -- "$3.part"; )"
    R"(cp -RPT -- "$2" "$3.part"; mv -nT -- "$3.part" "$3")";

/// A command of these words, each as it stands: see ChildProcess::Request.
std::string commandOf(const std::vector<std::string>& words) {
    std::string command;
    for (const std::string& word : words) {
        command += command.empty() ? R"(")" : R"( ")";
        for (const char letter : word) {
            command += letter == '"' ? R"(""")" : std::string(1, letter);
        }
        command += '"';
    }
    return command;
}

ChildProcess::Request request(const std::vector<std::string>& words,
                              std::chrono::milliseconds limit) {
    return {commandOf(words), {}, nullptr, limit};
}

bool isMissingRights(const std::error_code& error) {
    return error == std::errc::permission_denied || error == std::errc::operation_not_permitted;
}

bool isThere(const fs::path& path) {
    std::error_code ignored; // what cannot be looked at is not there for us
    return fs::exists(fs::symlink_status(path, ignored));
}

bool isOurs(const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && status.st_uid == ::geteuid();
}

std::error_code copyAcross(const fs::path& from, const fs::path& to) {
    const fs::path part = to.string() + ".part";
    std::error_code error;
    fs::remove_all(part, error); // of a copy that was cut short
    fs::copy(from, part, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    if (!error) {
        fs::rename(part, to, error);
    }
    std::error_code ignored; // what stays behind is in nobody's way
    fs::remove_all(error ? part : from, ignored);
    return error;
}

} // namespace

std::error_code DriverSetting::move(const fs::path& from, const fs::path& to) {
    std::error_code error;
    fs::create_directories(to.parent_path(), error);
    if (error) {
        return error;
    }
    if (isThere(to)) {
        return std::make_error_code(std::errc::file_exists);
    }
    fs::rename(from, to, error);
    return error == std::errc::cross_device_link ? copyAcross(from, to) : error;
}

DriverSetting::DriverSetting(Environment environment) : environment_(std::move(environment)) {
    loadDriverStatus();
}

bool DriverSetting::isVideoDriverInstalled() const {
    std::error_code ignored; // what cannot be looked at is not installed for us
    return fs::exists(environment_.paths.component, ignored);
}

void DriverSetting::loadDriverStatus() {
    const bool installed = isVideoDriverInstalled();
    setVideoDriverStatusText(installed ? "Driver Installed" : "Driver Not Installed");
    setVideoDriverButtonText(installed ? "Uninstall Driver" : "Install Driver");
}

void DriverSetting::setVideoDriverStatusText(const std::string& text) {
    if (std::exchange(videoDriverStatusText_, text) != text) {
        changed_.emit();
    }
}

void DriverSetting::setVideoDriverButtonText(const std::string& text) {
    if (std::exchange(videoDriverButtonText_, text) != text) {
        changed_.emit();
    }
}

void DriverSetting::videoDriverAction() {
    if (isBusy_) {
        return;
    }
    if (isVideoDriverInstalled()) {
        askToUninstall();
    } else {
        askToInstall();
    }
}

void DriverSetting::askToInstall() {
    environment_.alerts.ask({"Install IPCam Driver? ",
                             "IPCam driver is required to use IP cameras with Ovelo.", "Cancel",
                             "Install"},
                            [this, alive = std::weak_ptr(alive_)](bool otherButtonPressed) {
                                if (alive.expired()) {
                                    return;
                                }
                                if (otherButtonPressed && !isBusy_) {
                                    install();
                                } else {
                                    loadDriverStatus();
                                }
                            });
}

void DriverSetting::askToUninstall() {
    environment_.alerts.ask(
        {"Uninstall IPCam Driver? ",
         "Uninstall IPCam driver if it interferes with other applications.  When you want to use "
         "it later, you can re-install the driver again.  Please reboot the mac afterwards.",
         "Cancel", "Uninstall"},
        [this, alive = std::weak_ptr(alive_)](bool otherButtonPressed) {
            if (alive.expired()) {
                return;
            }
            if (otherButtonPressed && !isBusy_) {
                uninstall();
            } else {
                loadDriverStatus();
            }
        });
}

void DriverSetting::install() {
    isBusy_ = true;
    hasUnpacked_ = false;
    changed_.emit();
    const Paths& paths = environment_.paths;
    std::error_code error;
    fs::remove(paths.workingCopy, error);
    // Never over a file that is still there: it is somebody else's, or a link to another place.
    fs::copy_file(paths.archive, paths.workingCopy, fs::copy_options::none, error);
    if (error) {
        failed(paths.workingCopy.string() + ": " + error.message());
        return;
    }
    unpack();
}

fs::path DriverSetting::unpacked() const {
    return environment_.paths.unpackFolder / environment_.paths.component.filename();
}

void DriverSetting::unpack() {
    if (isThere(unpacked())) {
        // Nothing is unpacked into what somebody else may have laid out.
        std::error_code ignored; // of the copy, which is in nobody's way
        fs::remove(environment_.paths.workingCopy, ignored);
        failed(unpacked().string() + ": " + std::make_error_code(std::errc::file_exists).message());
        return;
    }
    hasUnpacked_ = true;
    unpacking_ = environment_.start(
        request({"/usr/bin/unzip", "-d", environment_.paths.unpackFolder.string(),
                 environment_.paths.workingCopy.string()},
                kUnpackLimit),
        [this](const ChildProcess::Ending&) {
            // How it ended shows when the component is moved.
            std::error_code ignored; // the next one removes it
            fs::remove(environment_.paths.workingCopy, ignored);
            moveIntoPlace();
        });
}

void DriverSetting::moveIntoPlace() {
    std::error_code error = std::make_error_code(std::errc::no_such_file_or_directory);
    if (isThere(unpacked())) {
        error = isOurs(unpacked()) ? environment_.move(unpacked(), environment_.paths.component)
                                   : std::make_error_code(std::errc::file_exists);
    }
    if (!error) {
        done();
    } else if (isMissingRights(error)) {
        moveAsRoot();
    } else {
        failed(unpacked().string() + ": " + error.message());
    }
}

void DriverSetting::moveAsRoot() {
    const fs::path& component = environment_.paths.component;
    asRoot_ = environment_.start(
        request({"pkexec", "/bin/sh", "-c", kInstallScript, "sh", component.parent_path().string(),
                 unpacked().string(), component.string()},
                kPasswordLimit),
        [this](const ChildProcess::Ending& ending) {
            if (!ending.failure) {
                std::error_code ignored; // root has made a copy
                fs::remove_all(unpacked(), ignored);
                done();
                return;
            }
            const std::string why =
                ending.lastErrorLine.empty() ? "" : " - " + ending.lastErrorLine;
            failed(environment_.paths.component.string() + ": pkexec: " + *ending.failure + why);
        });
}

void DriverSetting::uninstall() {
    isBusy_ = true;
    changed_.emit();
    std::error_code error;
    fs::remove_all(environment_.paths.component, error);
    if (!isMissingRights(error)) {
        done(); // whatever else went wrong: the driver's state is shown
        return;
    }
    asRoot_ = environment_.start(
        request({"pkexec", "/bin/rm", "-rf", "--", environment_.paths.component.string()},
                kPasswordLimit),
        [this](const ChildProcess::Ending&) { done(); });
}

void DriverSetting::failed(const std::string& description) {
    if (hasUnpacked_ && isOurs(unpacked())) {
        std::error_code ignored; // it would be in the way of the next attempt, which says so
        fs::remove_all(unpacked(), ignored);
    }
    environment_.alerts.tell(description, "", {});
    done();
}

void DriverSetting::done() {
    isBusy_ = false;
    loadDriverStatus();
    changed_.emit();
}

} // namespace ovelo
