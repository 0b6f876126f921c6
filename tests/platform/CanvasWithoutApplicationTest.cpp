// A program of its own: here is no Qt application.

#include "platform/Canvas.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace ovelo {

TEST(CanvasWithoutApplicationTest, TextIsNotDrawnAndThatIsSaidOnce) {
    std::vector<std::uint8_t> memory(32 * 32 * 4, 0);
    const std::vector<std::uint8_t> before = memory;
    ::testing::internal::CaptureStderr();
    {
        Canvas canvas({32, 32, 32 * 4, memory.data()});
        canvas.drawText(U"text", 2, 2, {});
        canvas.drawText(U"text", 2, 2, {});
    }
    const std::string said = ::testing::internal::GetCapturedStderr();

    EXPECT_EQ(memory, before);
    EXPECT_EQ(said, "texts are not drawn: there is no graphical application\n");
}

} // namespace ovelo
