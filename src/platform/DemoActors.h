#pragma once

#include "platform/DemoImage.h"

#include <vector>

/// The drawings of what moves in the demo scene. All look to the right; each is a list of phases.
namespace ovelo::demo {

[[nodiscard]] std::vector<DemoImage> drawGull();
[[nodiscard]] std::vector<DemoImage> drawSailboat();
[[nodiscard]] std::vector<DemoImage> drawFreighter();
[[nodiscard]] std::vector<DemoImage> drawFishingBoat();
[[nodiscard]] std::vector<DemoImage> drawCar(const DemoColor& paint);
[[nodiscard]] std::vector<DemoImage> drawTram();
[[nodiscard]] std::vector<DemoImage> drawWalker(const DemoColor& coat, const DemoColor& trousers,
                                                bool hasDog);

} // namespace ovelo::demo
