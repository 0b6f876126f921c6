#pragma once

#include "fakes/ChildProcess.h"
#include "fakes/TcpFeeder.h"
#include "fakes/TemporaryFolder.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

/// The program "motion" as a camera on loopback: it plays a movie of colour bars, as a stream at /
/// and as single pictures at /current.
class MotionServer {
public:
    static bool isInstalled() {
        return std::system("command -v motion >/dev/null && command -v ffmpeg >/dev/null") == 0;
    }

    MotionServer() {
        const std::string movie = (folder_.path() / "bars.mp4").string();
        const std::string still = picture().string();
        const std::string bars = "ffmpeg -v error -f lavfi -i smptebars=size=640x480:rate=10 ";
        if (std::system((bars + "-t 60 -pix_fmt yuv420p " + movie).c_str()) != 0 ||
            std::system((bars + "-frames:v 1 -q:v 2 " + still).c_str()) != 0) {
            return;
        }
        port_ = LoopbackListener(1).port(); // free a moment ago
        writeFile(folder_.path() / "conf",
                  "daemon off\nnetcam_url file://" + movie +
                      "\nwidth 640\nheight 480\nframerate 10\nwebcontrol_port 0\nstream_port " +
                      std::to_string(port_) +
                      "\nstream_localhost on\nstream_maxrate 10\nstream_quality 90\n"
                      "stream_motion off\npicture_output off\nmovie_output off\ntarget_dir " +
                      folder_.path().string() + "\n");
        process_ = std::make_unique<ChildProcess>(std::vector<std::string>{
            "motion", "-n", "-m", "-d", "3", "-l", (folder_.path() / "log").string(), "-c",
            (folder_.path() / "conf").string()});
    }

    [[nodiscard]] bool isRunning() const { return process_ && process_->isRunning(); }

    /// What the camera sees, as a JPEG.
    [[nodiscard]] std::filesystem::path picture() const { return folder_.path() / "bars.jpg"; }

    [[nodiscard]] std::uint16_t port() const { return port_; }
    [[nodiscard]] std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    [[nodiscard]] std::string log() const { return readFile(folder_.path() / "log"); }

private:
    TemporaryFolder folder_;
    std::uint16_t port_ = 0;
    std::unique_ptr<ChildProcess> process_; // ends before its folder
};

} // namespace ovelo
