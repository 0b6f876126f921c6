#include "platform/DemoBackdrop.h"

#include <array>
#include <cmath>
#include <cstdint>

namespace ovelo::demo {

namespace {

constexpr int kWidth = 320;
constexpr auto kFarHill = DemoColor::of(101, 66, 112);
constexpr auto kNearHill = DemoColor::of(63, 46, 88);
constexpr auto kHouse = DemoColor::of(38, 30, 58);
constexpr auto kRock = DemoColor::of(30, 24, 46);
constexpr auto kWindow = DemoColor::of(255, 205, 112);

/// The same numbers at every start.
float noise(std::uint32_t seed) {
    seed = (seed ^ 61U) ^ (seed >> 16U);
    seed *= 9U;
    seed ^= seed >> 4U;
    seed *= 0x27d4eb2dU;
    seed ^= seed >> 15U;
    return static_cast<float>(seed & 0xffffU) / 65536.F;
}

DemoColor skyColor(float y) {
    struct Stop {
        float y = 0;
        DemoColor color;
    };
    static constexpr std::array<Stop, 6> kStops = {{{0, DemoColor::of(15, 20, 54)},
                                                    {44, DemoColor::of(43, 41, 99)},
                                                    {80, DemoColor::of(112, 68, 128)},
                                                    {104, DemoColor::of(205, 104, 110)},
                                                    {118, DemoColor::of(246, 158, 98)},
                                                    {128, DemoColor::of(255, 208, 136)}}};
    for (std::size_t i = 1; i < kStops.size(); ++i) {
        if (y <= kStops[i].y) {
            const float part = (y - kStops[i - 1].y) / (kStops[i].y - kStops[i - 1].y);
            return kStops[i - 1].color.towards(kStops[i].color, part);
        }
    }
    return kStops.back().color;
}

/// Fills everything below a rolling line.
void hill(DemoImage& image, const DemoColor& color, float base, float height, float phase) {
    std::vector<DemoPoint> corners = {{0, kHorizon}};
    for (int x = 0; x <= kWidth; x += 4) {
        const auto at = static_cast<float>(x);
        const float rise = 0.5F * std::sin(at / 47 + phase) + 0.3F * std::sin(at / 21 + 2 * phase) +
                           0.2F * std::sin(at / 9 + 3 * phase);
        corners.push_back({at, base - height * rise});
    }
    corners.push_back({kWidth, kHorizon});
    image.polygon(corners, color);
}

void windows(DemoImage& image, float left, float top, int columns, int rows, std::uint32_t seed) {
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const float chance = noise(seed * 131 + static_cast<std::uint32_t>(row * 17 + column));
            if (chance < 0.42F) {
                continue; // nobody at home
            }
            DemoColor light = kWindow.towards(DemoColor::of(255, 240, 196), chance - 0.5F);
            light.alpha = 0.55F + 0.45F * chance;
            image.rectangle(left + 4.F * static_cast<float>(column),
                            top + 5.F * static_cast<float>(row), 2, 2.6F, light);
        }
    }
}

void house(DemoImage& image, float left, float width, float height, std::uint32_t seed) {
    const float top = kHorizon - height;
    const DemoColor wall = kHouse.towards(DemoColor::of(74, 48, 78), noise(seed));
    image.rectangle(left, top, width, height, wall);
    image.polygon(
        {{left - 1, top}, {left + width / 2, top - width * 0.42F}, {left + width + 1, top}},
        kHouse.towards(DemoColor::of(20, 16, 36), 0.6F));
    image.line({left + 0.5F, top}, {left + 0.5F, kHorizon}, 0.8F,
               DemoColor::of(196, 112, 106, 0.5F));
    windows(image, left + 2.5F, top + 3, static_cast<int>((width - 3) / 4),
            static_cast<int>((height - 3) / 5), seed);
}

void church(DemoImage& image) {
    image.rectangle(84, 86, 10, 42, kHouse);
    image.polygon({{83, 86}, {89, 56}, {95, 86}}, DemoColor::of(34, 30, 62));
    image.line({89, 50}, {89, 57}, 0.8F, DemoColor::of(34, 30, 62));
    image.line({87.4F, 52.4F}, {90.6F, 52.4F}, 0.8F, DemoColor::of(34, 30, 62));
    image.ellipse({89, 92}, 2.6F, 2.6F, DemoColor::of(255, 226, 160));
    image.line({89, 92}, {89, 90.2F}, 0.5F, DemoColor::of(60, 40, 50));
    image.line({89, 92}, {90.4F, 92.6F}, 0.5F, DemoColor::of(60, 40, 50));
    image.rectangle(94, 104, 20, 24, kHouse);
    image.polygon({{93, 104}, {104, 95}, {115, 104}}, DemoColor::of(24, 20, 42));
    for (const float x : {97.F, 103.F, 109.F}) {
        image.ellipse({x, 112}, 1.1F, 3, DemoColor::of(255, 190, 110, 0.8F));
    }
}

void town(DemoImage& image) {
    church(image);
    struct Plan {
        float left, width, height;
    };
    constexpr std::array<Plan, 12> kHouses = {{{-4, 16, 24},
                                               {13, 13, 31},
                                               {27, 18, 22},
                                               {46, 12, 34},
                                               {59, 15, 26},
                                               {75, 12, 19},
                                               {114, 14, 28},
                                               {129, 11, 35},
                                               {141, 17, 23},
                                               {159, 12, 29},
                                               {172, 15, 18},
                                               {188, 11, 13}}};
    std::uint32_t seed = 7;
    for (const Plan& plan : kHouses) {
        house(image, plan.left, plan.width, plan.height, seed++);
    }
    image.rectangle(0, kHorizon - 1.5F, 204, 1.5F, DemoColor::of(24, 19, 38));
}

void lighthouse(DemoImage& image) {
    image.polygon({{204, 128},
                   {222, 121},
                   {238, 119},
                   {250, 113},
                   {278, 112},
                   {292, 118},
                   {306, 121},
                   {320, 123},
                   {320, 128}},
                  kRock);
    image.line({223, 120.6F}, {249, 113.4F}, 0.8F, DemoColor::of(150, 88, 92, 0.7F));
    image.rectangle(277, 105, 15, 10, DemoColor::of(46, 36, 60));
    image.polygon({{275, 105.4F}, {284.5F, 99}, {294, 105.4F}}, DemoColor::of(92, 40, 48));
    windows(image, 280, 108, 3, 1, 3);
    const auto white = DemoColor::of(226, 206, 206);
    const auto red = DemoColor::of(176, 48, 56);
    constexpr int kBands = 5;
    for (int i = 0; i < kBands; ++i) {
        const float top = 78 + 7.2F * static_cast<float>(i);
        const float slope = 0.34F * static_cast<float>(i);
        image.polygon({{259.6F - slope, top},
                       {267.4F + slope, top},
                       {267.8F + slope, top + 7.3F},
                       {259.2F - slope, top + 7.3F}},
                      i % 2 == 0 ? white : red);
    }
    image.polygon({{265, 78}, {267.6F, 78}, {269.4F, 114}, {266, 114}},
                  DemoColor::of(30, 20, 50, 0.45F));
    image.rectangle(257.6F, 76.6F, 11.8F, 1.6F, DemoColor::of(32, 26, 44));
    image.rectangle(260, 68, 7, 8.6F, DemoColor::of(255, 240, 190));
    image.rectangle(260, 68, 0.8F, 8.6F, DemoColor::of(32, 26, 44));
    image.rectangle(266.2F, 68, 0.8F, 8.6F, DemoColor::of(32, 26, 44));
    image.polygon({{258.8F, 68.2F}, {263.5F, 62.4F}, {268.2F, 68.2F}}, DemoColor::of(140, 38, 46));
}

/// A street lamp that stands on the quay.
void streetLamp(DemoImage& image, float x) {
    const auto iron = DemoColor::of(20, 18, 30);
    image.line({x, 202}, {x, 167}, 1.4F, iron);
    image.line({x, 202}, {x, 197}, 3, iron);
    image.line({x, 167.5F}, {x + 7, 165.5F}, 1.1F, iron);
    image.rectangle(x + 4.5F, 165, 5, 1.6F, iron);
    image.ellipse({x + 7, 167.4F}, 2, 1.3F, DemoColor::of(255, 238, 190));
    image.glow({x + 7, 168}, 26, DemoColor::of(255, 176, 84, 0.55F));
}

void lampPool(DemoImage& image, float x) {
    for (int y = 198; y < 226; ++y) {
        for (int i = -34; i <= 34; ++i) {
            const float dx = static_cast<float>(i) / 34;
            const float dy = (static_cast<float>(y) - 205) / 14;
            const float light = 1 - std::hypot(dx, dy);
            if (light > 0) {
                image.blend(static_cast<int>(x) + 7 + i, y,
                            DemoColor::of(255, 186, 104, 0.34F * light));
            }
        }
    }
}

void pavement(DemoImage& image) {
    image.rectangle(0, kQuay, kWidth, 3, DemoColor::of(118, 92, 100));
    image.rectangle(0, kQuay + 3, kWidth, 1, DemoColor::of(40, 32, 48));
    for (int y = kQuay + 4; y < 213; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const float grain = noise(static_cast<std::uint32_t>(y * 977 + x));
            const auto stone = DemoColor::of(76, 62, 78).towards(DemoColor::of(88, 72, 86), grain);
            image.blend(x, y, stone);
        }
    }
    for (int i = -20; i < 60; ++i) {
        const float x = static_cast<float>(i) * 9;
        image.line({x, 198}, {x - 5, 213}, 0.5F, DemoColor::of(52, 42, 58, 0.6F));
    }
    image.line({0, 205}, {kWidth, 205}, 0.5F, DemoColor::of(52, 42, 58, 0.6F));
    image.rectangle(0, 213, kWidth, 2, DemoColor::of(104, 86, 94));
}

void road(DemoImage& image) {
    for (int y = 215; y < 240; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const float grain = noise(static_cast<std::uint32_t>(y * 613 + x) + 99);
            const auto asphalt =
                DemoColor::of(37, 33, 48).towards(DemoColor::of(46, 41, 55), grain);
            image.blend(x, y, asphalt);
        }
    }
    for (int x = 4; x < kWidth; x += 24) {
        image.rectangle(static_cast<float>(x), 226.4F, 12, 1.2F,
                        DemoColor::of(190, 178, 170, 0.7F));
    }
}

} // namespace

DemoImage drawSky() {
    DemoImage image(kWidth, kHorizon);
    for (int y = 0; y < kHorizon; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            // Where the sun went down it is brighter; a little noise keeps the bands of 8 bits from
            // showing.
            const float fromSun =
                std::hypot((static_cast<float>(x) - 150) / 150, (static_cast<float>(y) - 132) / 62);
            const float sunset = std::max(0.F, 1 - fromSun);
            const float grain = noise(static_cast<std::uint32_t>(y * kWidth + x)) - 0.5F;
            DemoColor color = skyColor(static_cast<float>(y) + 3 * grain)
                                  .towards(DemoColor::of(255, 196, 110), 0.6F * sunset);
            image.blend(x, y, color);
        }
    }
    return image;
}

DemoImage drawShore() {
    DemoImage image(kWidth, kHorizon);
    hill(image, kFarHill, 112, 13, 1.1F);
    hill(image, kNearHill, 121, 10, 4.3F);
    town(image);
    lighthouse(image);
    return image;
}

DemoImage drawQuay() {
    DemoImage image(kWidth, 240);
    pavement(image);
    road(image);
    for (const float x : {30.F, 118.F, 206.F, 294.F}) {
        lampPool(image, x);
        streetLamp(image, x);
    }
    for (int i = 0; i < 8; ++i) { // bollards
        const float x = 8 + 44 * static_cast<float>(i);
        image.rectangle(x, 189, 4, 6, DemoColor::of(26, 22, 34));
        image.ellipse({x + 2, 189}, 3, 1.6F, DemoColor::of(58, 46, 58));
    }
    return image;
}

DemoImage drawMoon() {
    constexpr float kCenter = 32;
    DemoImage image(64, 64);
    image.glow({kCenter, kCenter}, 32, DemoColor::of(255, 226, 190, 0.62F));
    image.ellipse({kCenter, kCenter}, 10.5F, 10.5F, DemoColor::of(255, 243, 210));
    const auto sea = DemoColor::of(226, 208, 184, 0.55F);
    image.ellipse({29, 28}, 3.4F, 2.6F, sea);
    image.ellipse({35, 31}, 2.4F, 3, sea);
    image.ellipse({30, 36}, 2.8F, 1.8F, sea);
    image.ellipse({36, 37}, 1.4F, 1.2F, sea);
    return image;
}

DemoImage drawFlash() {
    DemoImage image(80, 80);
    image.glow({40, 40}, 40, DemoColor::of(255, 240, 196, 0.8F));
    image.glow({40, 40}, 14, DemoColor::of(255, 250, 230, 1));
    return image;
}

DemoImage drawCloud(int index) {
    struct Puff {
        float x, y, radiusX, radiusY;
    };
    static constexpr std::array<std::array<Puff, 5>, 3> kShapes = {
        {{{{24, 13, 22, 5}, {44, 10, 20, 7}, {64, 12, 24, 6}, {52, 15, 40, 4}, {84, 15, 16, 3}}},
         {{{30, 9, 26, 3}, {52, 8, 22, 4}, {74, 10, 18, 3}, {44, 11, 36, 2.6F}, {20, 11, 14, 2}}},
         {{{20, 12, 16, 5}, {36, 9, 16, 7}, {50, 13, 20, 4}, {34, 15, 28, 3}, {62, 14, 12, 3}}}}};
    DemoImage image(104, 24);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            float density = 0;
            for (const Puff& puff : kShapes[static_cast<std::size_t>(index)]) {
                const float distance = std::hypot((static_cast<float>(x) - puff.x) / puff.radiusX,
                                                  (static_cast<float>(y) - puff.y) / puff.radiusY);
                density += std::max(0.F, 1 - distance);
            }
            DemoColor color =
                DemoColor::of(96, 70, 122)
                    .towards(DemoColor::of(240, 136, 128), (static_cast<float>(y) - 7) / 10);
            color.alpha = 0.8F * std::min(1.F, 1.3F * density);
            if (color.alpha > 0.01F) {
                image.blend(x, y, color);
            }
        }
    }
    return image;
}

} // namespace ovelo::demo
