#pragma once

#include "platform/DemoImage.h"

/// The drawings of what stands still in the demo scene, and of what hangs in its sky.
namespace ovelo::demo {

inline constexpr int kHorizon = 128;             // first row of the water
inline constexpr int kQuay = 194;                // first row of the quay
inline constexpr DemoPoint kLamp{263.5F, 71.5F}; // of the lighthouse

[[nodiscard]] DemoImage drawSky();   // 320 x 128
[[nodiscard]] DemoImage drawShore(); // 320 x 128, lies over the sky
[[nodiscard]] DemoImage drawQuay();  // 320 x 240, lies over the water
[[nodiscard]] DemoImage drawMoon();
[[nodiscard]] DemoImage drawFlash(); // of the lighthouse, when it looks at us

/// index  0, 1 or 2: three shapes
[[nodiscard]] DemoImage drawCloud(int index);

} // namespace ovelo::demo
