#include "platform/MemorySettings.h"

#include "platform/MainThread.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace ovelo {

TEST(MemorySettingsTest, AbsentKeysReadAsFalseZeroAndNothing) {
    const MemorySettings settings;

    EXPECT_FALSE(settings.contains("k"));
    EXPECT_FALSE(settings.boolean("k"));
    EXPECT_EQ(settings.integer("k"), 0);
    EXPECT_EQ(settings.string("k"), std::nullopt);
    EXPECT_EQ(settings.array("k"), std::nullopt);
    EXPECT_TRUE(settings.keys().empty());
}

TEST(MemorySettingsTest, ReadsBackWhatWasSet) {
    MemorySettings settings;
    settings.setString("s", "text");
    settings.setBoolean("b", true);
    settings.setInteger("i", -7);
    settings.setArray("a", {"x", "y"});

    EXPECT_EQ(settings.string("s"), "text");
    EXPECT_TRUE(settings.boolean("b"));
    EXPECT_EQ(settings.integer("i"), -7);
    EXPECT_EQ(settings.array("a"), (Settings::Array{"x", "y"}));
    EXPECT_EQ(settings.keys(), (std::vector<std::string>{"a", "b", "i", "s"}));
}

TEST(MemorySettingsTest, AnArrayReadsAsTextAndATextAsArray) {
    MemorySettings settings;
    settings.setArray("a", {"x", "y"});
    settings.setString("s", "x, y");

    EXPECT_EQ(settings.string("a"), "x, y");
    EXPECT_EQ(settings.array("s"), (Settings::Array{"x, y"}));
}

TEST(MemorySettingsTest, AnEmptyArrayIsPresent) {
    MemorySettings settings;
    settings.setArray("a", {});

    EXPECT_TRUE(settings.contains("a"));
    EXPECT_EQ(settings.array("a"), Settings::Array());
    EXPECT_EQ(settings.string("a"), "");
}

TEST(MemorySettingsTest, ARemovedKeyIsAbsent) {
    MemorySettings settings;
    settings.setString("s", "text");
    settings.remove("s");

    EXPECT_FALSE(settings.contains("s"));
}

struct BooleanText {
    const char* text;
    bool meaning;
};

class MemorySettingsBooleanTest : public ::testing::TestWithParam<BooleanText> {};

TEST_P(MemorySettingsBooleanTest, OnlyEmptyZeroAndFalseAreFalse) {
    MemorySettings settings;
    settings.setString("b", GetParam().text);

    EXPECT_EQ(settings.boolean("b"), GetParam().meaning) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Texts, MemorySettingsBooleanTest,
                         ::testing::Values(BooleanText{"", false}, BooleanText{"0", false},
                                           BooleanText{"false", false}, BooleanText{"False", false},
                                           BooleanText{"FALSE", false}, BooleanText{"true", true},
                                           BooleanText{"1", true}, BooleanText{"YES", true},
                                           BooleanText{"00", true}));

struct IntegerText {
    const char* text;
    int number;
};

class MemorySettingsIntegerTest : public ::testing::TestWithParam<IntegerText> {};

TEST_P(MemorySettingsIntegerTest, ReadsTheLeadingNumber) {
    MemorySettings settings;
    settings.setString("i", GetParam().text);

    EXPECT_EQ(settings.integer("i"), GetParam().number) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Texts, MemorySettingsIntegerTest,
                         ::testing::Values(IntegerText{"1726", 1726}, IntegerText{"-3", -3},
                                           IntegerText{" 8 ", 8}, IntegerText{"12ab", 12},
                                           IntegerText{"ab", 0}, IntegerText{"", 0}));

TEST(MemorySettingsTest, AChangeIsToldOnTheMainThread) {
    MainThread::begin();
    MemorySettings settings;
    int told = 0;
    settings.changed().connect([&] { ++told; });

    std::thread([&] { settings.setString("s", "text"); }).join();
    EXPECT_EQ(told, 0);
    MainThread::serve();

    EXPECT_EQ(told, 1);
    MainThread::end();
}

TEST(MemorySettingsTest, AChangeThatIsToldAfterTheEndOfTheSettingsHarmsNothing) {
    MainThread::begin();
    auto settings = std::make_unique<MemorySettings>();
    settings->setString("s", "text");
    settings.reset();

    MainThread::serve();
    MainThread::end();
}

TEST(MemorySettingsTest, ThreadsMayReadWhileOneWrites) {
    MemorySettings settings;
    settings.setInteger("i", 0);
    constexpr int kLast = 2000;

    std::vector<std::jthread> readers;
    for (int n = 0; n < 3; ++n) {
        readers.emplace_back([&] {
            int latest = 0;
            while (latest < kLast) {
                const int now = settings.integer("i");
                ASSERT_GE(now, latest);
                latest = now;
            }
        });
    }
    for (int i = 1; i <= kLast; ++i) {
        settings.setInteger("i", i);
    }
}

} // namespace ovelo
