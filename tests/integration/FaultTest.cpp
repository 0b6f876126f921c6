// The whole program in a world that is not as it should be.

#include "fakes/Eventually.h"
#include "integration/Program.h"
#include "integration/WireViewer.h"

#include <gtest/gtest.h>

#include <memory>

namespace ovelo {
namespace {

bool servesPictures(Program& program) {
    return program.waitUntilListening() && !WireViewer(program.port()).nextJpeg().empty();
}

TEST(FaultTest, DocumentsFolderThatIsNoneOnlyLosesTheLog) {
    Program program;
    program.variable("OVELO_DEMO=1");
    writeFile(program.home() / "Documents", "a file where the folder should be");
    program.start();

    EXPECT_TRUE(servesPictures(program)) << program.output();
    EXPECT_EQ(program.terminate(), 0);
    EXPECT_FALSE(std::filesystem::exists("ovelo.log")) << "nor is it written anywhere else";
}

TEST(FaultTest, FullDiskOnlyLosesTheLog) {
    Program program;
    program.variable("OVELO_DEMO=1");
    std::filesystem::create_directory(program.home() / "Documents");
    std::filesystem::create_symlink("/dev/full", program.home() / "Documents" / "ovelo.log");
    program.start();

    EXPECT_TRUE(servesPictures(program)) << program.output();
    EXPECT_EQ(program.terminate(), 0);
}

TEST(FaultTest, GarbageForSettingsIsKeptAsideAndTheProgramRunsOnDefaults) {
    Program program;
    const std::string garbage = "\x01\x02 no settings at all \xff\n";
    program.start(garbage);

    EXPECT_TRUE(eventually([&] {
        return program.output().find("ovelo-settings write email") != std::string::npos;
    })) << "no account is known\n"
        << program.output();
    EXPECT_EQ(program.terminate(), 0);
    int copies = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(program.settingsFile().parent_path())) {
        copies +=
            entry.path().filename() != "Ovelo.ini" && readFile(entry.path()) == garbage ? 1 : 0;
    }
    EXPECT_EQ(copies, 1) << program.output();
}

TEST(FaultTest, SourceThatEndsLeavesAnEmptyInputAndARunningServer) {
    Program program;
    program.setting("captureSources=\"v|Short|videotestsrc is-live=true num-buffers=30\"");
    program.start();
    ASSERT_TRUE(program.waitUntilListening());

    EXPECT_TRUE(eventually([&] {
        return program.log().find("Capture device ended: Short - ") != std::string::npos;
    })) << program.log();
    Peer viewer(program.port());
    viewer.send("GetSources,\n");
    std::string line;
    while (!line.starts_with("DATA_SOURCE")) {
        line = viewer.line().value_or("DATA_SOURCE, none");
    }
    EXPECT_TRUE(line.starts_with("DATA_SOURCE|Short|")) << line;
    EXPECT_NE(line.find("|v|0"), std::string::npos) << line;
    EXPECT_EQ(program.terminate(), 0);
}

TEST(FaultTest, MoreThanAThousandDescriptorsAreAsGoodAsOthers) {
    Program program;
    program.variable("OVELO_DEMO=1");
    program.setting("listenBacklog=512");
    program.start();
    ASSERT_TRUE(program.waitUntilListening());
    std::vector<std::unique_ptr<WireViewer>> viewers;
    for (int index = 0; index < 1100; ++index) {
        viewers.push_back(std::make_unique<WireViewer>(program.port()));
    }

    EXPECT_FALSE(viewers.front()->nextJpeg().empty());
    EXPECT_FALSE(viewers.back()->nextJpeg().empty());
    EXPECT_EQ(program.terminate(), 0);
}

} // namespace
} // namespace ovelo
