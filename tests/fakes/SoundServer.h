#pragma once

#include "fakes/ChildProcess.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

/// A sound server of the test's own, whose microphones hear what its loudspeaker plays.
class SoundServer {
public:
    [[nodiscard]] static bool isInstalled() {
        return std::system("command -v pulseaudio pactl gst-launch-1.0 >/dev/null") == 0;
    }

    /// Points this process to it.
    explicit SoundServer(const std::filesystem::path& folder)
        : socket_((folder / "native").string()) {
        ::setenv("HOME", folder.c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
        ::setenv("PULSE_SERVER", ("unix:" + socket_).c_str(), 1);
        server_ = std::make_unique<ChildProcess>(std::vector<std::string>{
            "pulseaudio", "-n", "-L",
            "module-native-protocol-unix auth-anonymous=1 socket=" + socket_, "-L",
            "module-null-sink sink_name=null1 sink_properties=device.description=Null-One",
            "--exit-idle-time=-1", "--disable-shm=yes", "--daemonize=no", "--use-pid-file=no",
            "--log-target=file:" + (folder / "log").string()});
    }

    [[nodiscard]] bool isReady() const { return control("info"); }

    [[nodiscard]] bool plugIn(const std::string& name, const std::string& title) const {
        return control("load-module module-virtual-source source_name=" + name +
                       " master=null1.monitor source_properties='device.description=\"" + title +
                       "\"'");
    }
    [[nodiscard]] bool unplugAll() const { return control("unload-module module-virtual-source"); }

    /// Plays a file of samples again and again.
    void play(const std::string& file) {
        player_ = std::make_unique<ChildProcess>(std::vector<std::string>{
            "gst-launch-1.0", "-q", "multifilesrc", "location=" + file, "loop=true", "!",
            "rawaudioparse", "use-sink-caps=false", "format=pcm", "pcm-format=s16le",
            "sample-rate=48000", "num-channels=1", "!", "pulsesink", "device=null1"});
    }

    void end() { server_->signal(SIGTERM); }

    /// Accepts from now on, and answers nobody.
    void hang() { server_->signal(SIGSTOP); }
    void kill() { server_->kill(); }

private:
    [[nodiscard]] static bool control(const std::string& words) {
        return std::system(("pactl " + words + " >/dev/null 2>&1").c_str()) == 0;
    }

    const std::string socket_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> player_;
};

} // namespace ovelo
