#include "fakes/QtWait.h"
#include "ui/CapturePreview.h"

#include <gtest/gtest.h>

#include <vector>

namespace ovelo {

TEST(CapturePreviewSlowTest, MissesPicturesThatStayAwayForSeconds) {
    const auto pixels = std::make_shared<std::vector<std::uint8_t>>(std::size_t{320} * 240 * 4);
    CapturePreview preview;
    preview.show();
    ASSERT_TRUE(runLoopUntil([&] {
        preview.takeFrame({320, 240, std::size_t{320} * 4, pixels->data(), pixels});
        return preview.showsPicture();
    }));

    EXPECT_TRUE(runLoopUntil([&] { return !preview.showsPicture(); },
                             CapturePreview::kPatience + std::chrono::seconds(2)));
}

} // namespace ovelo
