#include "platform/IniText.h"

#include <gtest/gtest.h>

#include <string>

namespace ovelo {

class IniTextGoodTest : public ::testing::TestWithParam<const char*> {};

TEST_P(IniTextGoodTest, HasNoDamage) {
    EXPECT_EQ(damageOfIniText(GetParam()), std::nullopt) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Texts, IniTextGoodTest,
                         ::testing::Values("", "\n\n  \t\n", "[General]\nport=1726\n", "k=v",
                                           "k=", "k=x,y", "; a remark with a \" in it\nk=v\n",
                                           "# another\nk=v\n", "k=a;b \" c\nl=m\n",
                                           "k=\"two\nlines\"\nl=m\n", "k=a \\\nnext\n",
                                           "k=\\\"\nl=m\n", "k=v\r\nl=m\r\n", "name=Caf\xC3\xA9\n",
                                           "k=\\"));

class IniTextDamagedTest : public ::testing::TestWithParam<const char*> {};

TEST_P(IniTextDamagedTest, HasAReason) {
    EXPECT_NE(damageOfIniText(GetParam()), std::nullopt) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Texts, IniTextDamagedTest,
                         ::testing::Values("hello", "[General]\nport 1726\n", "[General\nk=v\n",
                                           "k=\"open\nl=m\n", "\x01\x02=\x03", "k=\xFF\xFE",
                                           "k=caf\xE9\n", "<html></html>", "\"k=v\"\n"));

TEST(IniTextTest, ANulIsDamage) {
    EXPECT_NE(damageOfIniText(std::string("k=v\n\0", 5)), std::nullopt);
}

TEST(IniTextTest, NamesTheLineThatSaysNothing) {
    EXPECT_EQ(damageOfIniText("[General]\nk=v\n\nhello\n"), "its line 4 is not \"key=value\"");
}

} // namespace ovelo
