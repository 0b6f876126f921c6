#include "viewer/LineInput.h"

#include "fakes/Eventually.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <mutex>
#include <vector>

namespace ovelo {
namespace {

class LineInputTest : public testing::Test {
protected:
    void SetUp() override {
        int ends[2] = {-1, -1};
        ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        read_.reset(ends[0]);
        write_.reset(ends[1]);
        input_ = std::make_unique<LineInput>(read_.get(), [this](const std::string& line) {
            const std::lock_guard lock(lock_);
            lines_.push_back(line);
        });
    }

    void type(const std::string& text) {
        ASSERT_EQ(::write(write_.get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
    }
    bool hears(const std::vector<std::string>& expected) {
        return eventually([&] {
            const std::lock_guard lock(lock_);
            return lines_ == expected;
        });
    }

    FileDescriptor read_;
    FileDescriptor write_;
    std::mutex lock_;
    std::vector<std::string> lines_;
    std::unique_ptr<LineInput> input_;
};

TEST_F(LineInputTest, TellsEachLineWhereverItIsCut) {
    type("Hello,\nSta");
    EXPECT_TRUE(hears({"Hello,"}));
    type("rt,\n\nlast");
    EXPECT_TRUE(hears({"Hello,", "Start,", ""}));
    write_.reset();
    EXPECT_TRUE(hears({"Hello,", "Start,", "", "last"}));
}

TEST_F(LineInputTest, LeavesOutALineThatIsTooLong) {
    for (std::size_t i = 0; i < LineInput::kMaxLine + 1024; i += 1024) {
        type(std::string(1024, 'x'));
    }
    type("\nshort\n");

    EXPECT_TRUE(hears({"short"}));
}

TEST_F(LineInputTest, EndsAtOnceThoughNothingIsTyped) {
    const auto before = std::chrono::steady_clock::now();
    input_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(500));
}

} // namespace
} // namespace ovelo
