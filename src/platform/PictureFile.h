#pragma once

#include "platform/Result.h"
#include "platform/VideoFrame.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <span>

/// The file through which a network camera's pictures reach the capture device "Kavrin IPCam".
///
/// One picture of 320 x 240, rows from the top, 4 bytes a pixel: alpha, red, green, blue, alpha
/// premultiplied. It is replaced as a whole, so that nobody ever sees half a picture.
///
/// thread  any
namespace ovelo::picturefile {

inline constexpr const char* kPath = "/tmp/ipcam.rgb";
inline constexpr int kWidth = 320;
inline constexpr int kHeight = 240;
inline constexpr std::size_t kBytesPerRow = 1280;
inline constexpr std::size_t kSize = 307'200;

/// What tells one picture in the file from the next.
struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::time_t seconds = 0; // of its last change
    long nanoseconds = 0;

    friend bool operator==(const Stamp&, const Stamp&) = default;
};

/// Replaces the file; only its owner may read it. A link in its place is replaced, never followed.
///
/// rgba    kSize bytes: red, green, blue, alpha
/// errors  the folder or the disk does not allow it, or the file is somebody else's; what was there
///         stays
std::optional<Failure> write(const std::filesystem::path& path, std::span<const std::uint8_t> rgba);

/// The file's present state; an empty stamp without a file. A link is not followed.
Stamp stampOf(const std::filesystem::path& path);

struct Picture {
    VideoFrame frame; // opaque
    Stamp stamp;
};

/// errors  no regular file of our own, another size, or changed while it was read
Result<Picture> read(const std::filesystem::path& path);

} // namespace ovelo::picturefile
