#include "platform/IniSettings.h"

#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {

namespace {

namespace fs = std::filesystem;

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

} // namespace

class IniSettingsTest : public ::testing::Test {
protected:
    [[nodiscard]] fs::path file() const { return folder_.path() / "Ovelo" / "Ovelo.ini"; }

    void haveFile(const std::string& content) const {
        fs::create_directories(file().parent_path());
        writeFile(file(), content);
    }

    TemporaryFolder folder_;
};

TEST_F(IniSettingsTest, WithoutAFileEverythingIsAbsentAndNothingIsMade) {
    const IniSettings settings(file());

    EXPECT_TRUE(settings.keys().empty());
    EXPECT_FALSE(fs::exists(file().parent_path()));
}

TEST_F(IniSettingsTest, TheFirstWriteMakesFolderAndFileForTheOwnerAlone) {
    IniSettings settings(file());
    settings.setString("password", "secret");

    EXPECT_EQ(modeOf(file()), 0600U);
    EXPECT_EQ(modeOf(file().parent_path()), 0700U);
    EXPECT_TRUE(settings.isSaved());
}

TEST_F(IniSettingsTest, AWriteIsInTheFileInItsDocumentedForm) {
    IniSettings settings(file());
    settings.setBoolean("night_vision", true);
    settings.setBoolean("show_timestamp", false);
    settings.setInteger("rotate_val", 3);
    settings.setString("port", "1726");
    settings.setArray("devList", {"a", "b, c", "d"});

    EXPECT_EQ(readFile(file()), "[General]\n"
                                "devList=a, \"b, c\", d\n"
                                "night_vision=true\n"
                                "port=1726\n"
                                "rotate_val=3\n"
                                "show_timestamp=false\n");
}

TEST_F(IniSettingsTest, AFileThatOthersCouldReadIsTakenFromThem) {
    haveFile("[General]\nport=1726\n");
    fs::permissions(file(), fs::perms(0664));

    const IniSettings settings(file());

    EXPECT_EQ(modeOf(file()), 0600U);
    EXPECT_EQ(settings.string("port"), "1726");
}

TEST_F(IniSettingsTest, AWriteKeepsTheFileToItsOwner) {
    haveFile("[General]\nport=1726\n");
    IniSettings settings(file());
    fs::permissions(file(), fs::perms(0644)); // meanwhile
    settings.setString("port", "1727");

    EXPECT_EQ(modeOf(file()), 0600U);
}

class IniSettingsTextTest : public IniSettingsTest,
                            public ::testing::WithParamInterface<std::string> {};

TEST_P(IniSettingsTextTest, SurvivesAsATextAndInsideAnArray) {
    {
        IniSettings settings(file());
        settings.setString("text", GetParam());
        settings.setArray("one", {GetParam()});
        settings.setArray("many", {GetParam(), "between", GetParam()});
    }
    // A copy, so that nothing that this process remembers of the file can help.
    const fs::path copy = folder_.path() / "copy.ini";
    fs::copy_file(file(), copy);
    const IniSettings settings(copy);

    EXPECT_EQ(settings.string("text"), GetParam());
    EXPECT_EQ(settings.array("text"), Settings::Array{GetParam()});
    EXPECT_EQ(settings.array("one"), Settings::Array{GetParam()});
    EXPECT_EQ(settings.array("many"), (Settings::Array{GetParam(), "between", GetParam()}));
}

INSTANTIATE_TEST_SUITE_P(Texts, IniSettingsTextTest,
                         ::testing::Values("", " ", "plain", "me@example.org", "a, b", "a,b", ",",
                                           ", ,", "a;b", ";", "\"", "say \"hi\"", "\\", "C:\\dir\\",
                                           "a\\nb", "@", "@home", "@@", "@Invalid()", "@String(x)",
                                           "  both sides  ", "tab\tnew\nline\rreturn",
                                           "Caf\xC3\xA9 \xE2\x98\x83 \xF0\x9F\x98\x80", "50% off",
                                           "%20", "a=b", "[x]", "true", "0", "#x", "\x01\x7F",
                                           "segsegseg,http://h/?a=1&b=2segsegseg,",
                                           "v|Lobby|rtsp://10.0.0.5/live, still the same"));

TEST_F(IniSettingsTest, ArraysOfEmptyItemsSurvive) {
    const std::vector<Settings::Array> arrays = {{},        {""},      {"", ""},
                                                 {"a", ""}, {"", "a"}, {"", "", ""}};
    {
        IniSettings settings(file());
        for (std::size_t i = 0; i < arrays.size(); ++i) {
            settings.setArray("array" + std::to_string(i), arrays[i]);
        }
    }
    const fs::path copy = folder_.path() / "copy.ini";
    fs::copy_file(file(), copy);
    const IniSettings settings(copy);

    for (std::size_t i = 0; i < arrays.size(); ++i) {
        EXPECT_EQ(settings.array("array" + std::to_string(i)), arrays[i]) << i;
    }
}

TEST_F(IniSettingsTest, AHandEditedListReadsAsTextAndAsArray) {
    haveFile("[General]\nk=x,y\n");
    const IniSettings settings(file());

    EXPECT_EQ(settings.string("k"), "x, y");
    EXPECT_EQ(settings.array("k"), (Settings::Array{"x", "y"}));
}

TEST_F(IniSettingsTest, ARemovedKeyIsGoneFromTheFile) {
    haveFile("[General]\nport=1726\nemail=me@example.org\n");
    IniSettings settings(file());
    settings.remove("port");

    EXPECT_EQ(readFile(file()), "[General]\nemail=me@example.org\n");
}

TEST_F(IniSettingsTest, AWriteKeepsWhatAnotherProcessWroteMeanwhile) {
    haveFile("[General]\nport=1726\n");
    IniSettings settings(file());
    writeFile(file(), "[General]\nport=1726\nemail=me@example.org\n");

    settings.setBoolean("night_vision", true);

    EXPECT_EQ(readFile(file()), "[General]\nemail=me@example.org\nnight_vision=true\nport=1726\n");
}

TEST_F(IniSettingsTest, AChangeOfTheSameSizeInTheSameMomentIsSeen) {
    for (int i = 0; i < 100; ++i) {
        const std::string port = std::to_string(1000 + i);
        haveFile("[General]\nport=" + port + "\n");
        const IniSettings settings(file());
        ASSERT_EQ(settings.string("port"), port);
    }
}

TEST_F(IniSettingsTest, ThreadsThatWriteTheSameKeyLeaveOneValueInMemoryAndInTheFile) {
    IniSettings settings(file());
    {
        std::vector<std::jthread> writers;
        for (int n = 0; n < 3; ++n) {
            writers.emplace_back([&settings, n] {
                for (int i = 0; i < 5; ++i) {
                    settings.setInteger("common", n * 100 + i);
                    settings.setInteger("own" + std::to_string(n), i);
                }
            });
        }
    }
    const fs::path copy = folder_.path() / "copy.ini";
    fs::copy_file(file(), copy);
    const IniSettings stored(copy);

    EXPECT_EQ(settings.integer("common"), stored.integer("common"));
    for (const char* key : {"own0", "own1", "own2"}) {
        EXPECT_EQ(stored.integer(key), 4) << key;
    }
}

TEST_F(IniSettingsTest, AReadCostsWellUnderAMicrosecond) {
    haveFile("[General]\nflip_horizontally=false\nport=1726\n");
    const IniSettings settings(file());
    constexpr int kReads = 20000;

    const std::clock_t start = std::clock();
    int found = 0;
    for (int i = 0; i < kReads; ++i) {
        found += settings.boolean("flip_horizontally") ? 1 : 0;
    }
    const double microseconds = 1e6 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;

    EXPECT_EQ(found, 0);
    EXPECT_LT(microseconds / kReads,
              5.0); // a debug build with sanitizers on a busy machine included
}

} // namespace ovelo
