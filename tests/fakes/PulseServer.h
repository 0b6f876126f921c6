#pragma once

#include "fakes/ChildProcess.h"
#include "fakes/Eventually.h"
#include "fakes/TemporaryFolder.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

/// A sound server of the test's own, whose only output is one that nobody hears. While it lives this
/// process uses it.
class PulseServer {
public:
    static bool isInstalled() {
        return std::system("command -v pulseaudio pactl parec >/dev/null") == 0;
    }

    PulseServer() {
        const std::string home = folder_.path().string();
        ::setenv("HOME", home.c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", home.c_str(), 1);
        ::setenv("PULSE_SERVER", ("unix:" + home + "/native").c_str(), 1);
        start();
    }

    void start() {
        const std::string home = folder_.path().string();
        process_ = std::make_unique<ChildProcess>(std::vector<std::string>{
            "pulseaudio", "-n", "-L",
            "module-native-protocol-unix auth-anonymous=1 socket=" + home + "/native", "-L",
            "module-null-sink sink_name=null1", "--exit-idle-time=-1", "--disable-shm=yes",
            "--daemonize=no", "--use-pid-file=no", "--log-target=file:" + home + "/log"});
    }

    void stop() { process_.reset(); }

    /// True when it can be used.
    [[nodiscard]] bool isReady() const {
        return eventually([] { return std::system("pactl info >/dev/null 2>&1") == 0; },
                          std::chrono::seconds(10));
    }

    /// Records what is played, as signed samples of one channel, until the answer is destroyed.
    ///
    /// latency  of the recorder, in milliseconds; a short one may lose samples on a busy machine
    [[nodiscard]] std::unique_ptr<ChildProcess> record(const std::filesystem::path& file, int rate,
                                                       int latency) const {
        return std::make_unique<ChildProcess>(std::vector<std::string>{
            "parec", "--device=null1.monitor", "--format=s16le", "--channels=1", "--raw",
            "--latency-msec=" + std::to_string(latency), "--rate=" + std::to_string(rate),
            file.string()});
    }

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_.path(); }

private:
    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> process_; // ends before its folder
};

} // namespace ovelo
