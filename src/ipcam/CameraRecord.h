#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

/// What the user entered about one network camera.
struct CameraRecord {
    std::string name;
    std::string urlString;
    std::string userId;
    std::string password; // in clear, here and in the settings

    friend bool operator==(const CameraRecord&, const CameraRecord&) = default;
};

/// The list of cameras as the setting "ipcamlist" has it: the four values of a camera with
/// "segsegseg," between them, the cameras with "recrecrec," between them. Nothing can be escaped.
///
/// thread  any
namespace cameralist {

struct Parsed {
    std::vector<CameraRecord> cameras; // those that are whole, in their order
    /// Something could not be read: a record with fewer than four values, which is left out, or what
    /// stands behind the fourth.
    bool isDamaged = false;
};

Parsed parse(std::string_view text);

/// return  "" for no camera
std::string format(const std::vector<CameraRecord>& cameras);

/// The separator that one of the camera's values has in it, so that it cannot be stored; nothing when
/// it can.
std::optional<std::string> separatorIn(const CameraRecord& camera);

} // namespace cameralist

} // namespace ovelo
