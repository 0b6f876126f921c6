// A program that records ten seconds to a movie, says so, and waits to be killed.
//
//   MovieRecorder FILE [SIZE]
//
// With a size the file's folder is a file system of that many bytes, which nobody else sees but
// through /proc/ID/root; a line tells how the recording ended.

#include "fakes/MovieFeeder.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

bool mountSmallDisk(const std::filesystem::path& folder, const std::string& size) {
    if (::unshare(CLONE_NEWNS) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    (void)::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
    return ::mount("tmpfs", folder.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
}

void say(const std::string& text) {
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    using namespace ovelo;
    const std::filesystem::path file = argc > 1 ? argv[1] : "";
    if (argc > 2 && !mountSmallDisk(file.parent_path(), argv[2])) {
        say("no sandbox");
        return 1;
    }
    FakeClock clock;
    MovieWitness witness;
    GstMovieFileOutput output(PictureCodec::H264, clock, {});
    output.setDelegate(&witness);
    MovieFeeder feeder(output, clock);
    output.recordToOutputFile(file);
    for (int second = 0; second < 10; ++second) {
        (void)feeder.pass(std::chrono::seconds(1)); // a recorder that has ended takes nothing
        // Its turn comes every 50 ms of the world's time.
        (void)eventually([] { return false; }, std::chrono::milliseconds(60));
    }
    if (argc > 2) {
        (void)witness.waitForEnd();
        const auto error = witness.error();
        say(error ? "error: " + error->text : "no error");
        for (const auto& told : witness.told()) {
            say("told: " + told);
        }
    }
    say("process " + std::to_string(::getpid()));
    say("recorded");
    ::pause();
    return 0;
}
