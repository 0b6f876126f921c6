#include "platform/DemoActors.h"

#include <array>
#include <cmath>
#include <numbers>

namespace ovelo::demo {

namespace {

constexpr int kSteps = 10; // phases of a walk
constexpr auto kDark = DemoColor::of(22, 20, 32);
constexpr auto kSkin = DemoColor::of(214, 158, 128);
constexpr auto kLit = DemoColor::of(255, 214, 132);

/// A limb of two parts that swings from a joint.
void limb(DemoImage& image, DemoPoint joint, float swing, float bend, float length, float thickness,
          const DemoColor& color) {
    const DemoPoint knee{joint.x + std::sin(swing) * length / 2,
                         joint.y + std::cos(swing) * length / 2};
    const DemoPoint end{knee.x + std::sin(swing - bend) * length / 2,
                        knee.y + std::cos(swing - bend) * length / 2};
    image.line(joint, knee, thickness, color);
    image.line(knee, end, thickness, color);
}

void dog(DemoImage& image, float phase) {
    const auto fur = DemoColor::of(104, 70, 48);
    image.line({21, 16}, {26, 15.6F}, 2.6F, fur);
    image.line({26.4F, 15}, {28, 13.4F}, 1.6F, fur);
    image.ellipse({28.4F, 13}, 1.7F, 1.3F, fur);
    image.line({20.6F, 15.4F}, {19, 13.2F + 0.6F * std::sin(2 * phase)}, 0.8F, fur);
    for (const float x : {21.2F, 25.8F}) {
        image.line({x, 17}, {x + 1.4F * std::sin(2 * phase), 20}, 1, fur);
        image.line({x, 17}, {x - 1.4F * std::sin(2 * phase), 20}, 1, fur);
    }
    image.line({13, 10.4F}, {26.6F, 13.8F}, 0.4F, DemoColor::of(40, 34, 40, 0.8F));
}

DemoImage walkerAt(float phase, const DemoColor& coat, const DemoColor& trousers, bool hasDog) {
    DemoImage image(hasDog ? 31 : 18, 21);
    const float swing = 0.5F * std::sin(phase);
    const float bob = 0.35F * std::cos(2 * phase);
    const DemoPoint hip{9, 12 + bob};
    const DemoPoint shoulder{9.2F, 6.6F + bob};
    image.ellipse({9, 20.2F}, 6, 0.8F, DemoColor::of(0, 0, 0, 0.35F));
    limb(image, shoulder, -swing, -0.4F, 6, 1.5F, coat.towards(kDark, 0.45F));
    limb(image, hip, -swing, std::max(0.F, swing), 8, 1.9F, trousers.towards(kDark, 0.4F));
    limb(image, hip, swing, std::max(0.F, -swing), 8, 1.9F, trousers);
    image.line(hip, shoulder, 3.8F, coat);
    image.ellipse({9.5F, 3.4F + bob}, 1.9F, 2.2F, kSkin);
    image.ellipse({9.1F, 2.5F + bob}, 2, 1.6F, trousers.towards(kDark, 0.6F));
    limb(image, shoulder, hasDog ? 0.7F : swing, -0.5F, 6, 1.5F, coat.towards(kLit, 0.12F));
    if (hasDog) {
        dog(image, phase);
    }
    return image;
}

void wheel(DemoImage& image, float x, float y) {
    image.ellipse({x, y}, 3, 3, DemoColor::of(12, 12, 18));
    image.ellipse({x, y}, 1.4F, 1.4F, DemoColor::of(120, 116, 128));
}

/// What the headlights throw on the road, and the lamps themselves.
void headlights(DemoImage& image, float x, float y) {
    for (int dx = 0; dx < 26; ++dx) {
        for (int dy = -4; dy <= 5; ++dy) {
            const float spread = 1.5F + static_cast<float>(dx) * 0.16F;
            const float light = (1 - static_cast<float>(dx) / 26) *
                                std::max(0.F, 1 - std::abs(static_cast<float>(dy) - 1.5F) / spread);
            image.blend(static_cast<int>(x) + dx, static_cast<int>(y) + dy,
                        DemoColor::of(255, 236, 180, 0.42F * light));
        }
    }
    image.ellipse({x - 0.5F, y}, 1.2F, 1.2F, DemoColor::of(255, 250, 220));
}

} // namespace

std::vector<DemoImage> drawGull() {
    std::vector<DemoImage> phases;
    for (const float lift : {-2.4F, -1.2F, 0.4F, 1.6F, 0.4F, -1.2F}) {
        DemoImage image(14, 9);
        const auto feather = DemoColor::of(40, 34, 62);
        image.line({7, 4.6F}, {3.8F, 4 + lift * 0.6F}, 1, feather);
        image.line({3.8F, 4 + lift * 0.6F}, {0.8F, 4.4F + lift}, 0.7F, feather);
        image.line({7, 4.6F}, {10.2F, 4 + lift * 0.6F}, 1, feather);
        image.line({10.2F, 4 + lift * 0.6F}, {13.2F, 4.4F + lift}, 0.7F, feather);
        image.line({6.2F, 4.8F}, {8.4F, 4.8F}, 1.4F, feather);
        phases.push_back(std::move(image));
    }
    return phases;
}

std::vector<DemoImage> drawSailboat() {
    DemoImage image(34, 44);
    image.line({16, 2}, {16, 37}, 0.9F, DemoColor::of(58, 42, 46));
    image.polygon({{17, 3}, {17, 34}, {31, 34}, {26, 18}}, DemoColor::of(240, 208, 190));
    image.polygon({{17, 3}, {17, 34}, {22, 34}, {20, 16}}, DemoColor::of(255, 228, 204));
    image.polygon({{15, 6}, {15, 34}, {3, 34}, {8, 20}}, DemoColor::of(214, 168, 166));
    image.polygon({{1, 36.5F}, {33, 36.5F}, {28, 43}, {6, 43}}, DemoColor::of(52, 36, 50));
    image.line({1.5F, 36.8F}, {32.5F, 36.8F}, 1.2F, DemoColor::of(226, 196, 178));
    image.rectangle(11, 34, 7, 2.4F, DemoColor::of(120, 78, 62));
    image.ellipse({14.5F, 35.2F}, 0.9F, 0.9F, kLit);
    image.ellipse({32, 37.4F}, 0.9F, 0.9F, DemoColor::of(90, 255, 150));
    std::vector<DemoImage> phases;
    phases.push_back(std::move(image));
    return phases;
}

std::vector<DemoImage> drawFreighter() {
    std::vector<DemoImage> phases;
    for (const bool isLit : {true, false}) {
        DemoImage image(84, 30);
        image.polygon({{1, 18}, {83, 16.5F}, {77, 29.5F}, {5, 29.5F}}, DemoColor::of(44, 34, 52));
        image.polygon({{3.4F, 26}, {78.8F, 26}, {77, 29.5F}, {5, 29.5F}},
                      DemoColor::of(122, 40, 44));
        image.line({2, 18.2F}, {82, 16.8F}, 0.8F, DemoColor::of(176, 120, 112));
        image.rectangle(5, 5, 15, 13.4F, DemoColor::of(206, 180, 176));
        image.rectangle(8, 1.6F, 9, 3.6F, DemoColor::of(226, 202, 194));
        image.rectangle(9, 2.4F, 7, 1.6F, kLit);
        for (int i = 0; i < 8; ++i) {
            image.rectangle(6.4F + 3.5F * static_cast<float>(i % 4), i < 4 ? 7.F : 11.F, 1.8F, 1.8F,
                            kLit);
        }
        image.rectangle(21.5F, 7, 4.4F, 11, DemoColor::of(150, 52, 50));
        image.rectangle(21.5F, 8.6F, 4.4F, 1.6F, DemoColor::of(230, 214, 206));
        constexpr std::array<DemoColor, 5> kCargo = {
            DemoColor::of(150, 66, 54), DemoColor::of(66, 92, 128), DemoColor::of(168, 124, 64),
            DemoColor::of(74, 112, 92), DemoColor::of(120, 58, 84)};
        for (int i = 0; i < 10; ++i) {
            const float x = 29 + 9 * static_cast<float>(i % 5);
            const float y = i < 5 ? 12.4F : 7.2F;
            if (i != 9) {
                image.rectangle(x, y, 8.4F, 5, kCargo[static_cast<std::size_t>((i * 3 + 1) % 5)]);
            }
        }
        image.line({78, 5}, {78, 17}, 0.8F, kDark);
        image.ellipse({78, 5}, 1, 1,
                      isLit ? DemoColor::of(255, 90, 70) : DemoColor::of(90, 30, 30));
        phases.push_back(std::move(image));
    }
    return phases;
}

std::vector<DemoImage> drawFishingBoat() {
    DemoImage image(40, 26);
    image.polygon({{1, 15}, {39, 12}, {34, 25}, {5, 25}}, DemoColor::of(48, 78, 92));
    image.line({1.6F, 15.4F}, {38.4F, 12.6F}, 1.4F, DemoColor::of(228, 200, 182));
    image.rectangle(9, 6, 11, 9, DemoColor::of(210, 182, 170));
    image.rectangle(8, 4.8F, 13, 1.6F, DemoColor::of(140, 52, 48));
    image.rectangle(11, 8, 3, 3, kLit);
    image.rectangle(15.5F, 8, 3, 3, kLit);
    image.line({24, 1.5F}, {24, 14}, 0.9F, kDark);
    image.line({24, 3}, {34, 12.4F}, 0.5F, kDark);
    image.ellipse({24, 2}, 1.1F, 1.1F, DemoColor::of(255, 250, 220));
    std::vector<DemoImage> phases;
    phases.push_back(std::move(image));
    return phases;
}

std::vector<DemoImage> drawCar(const DemoColor& paint) {
    DemoImage image(64, 19);
    image.ellipse({18, 17.4F}, 18, 1.4F, DemoColor::of(0, 0, 0, 0.5F));
    image.polygon({{7, 8}, {12, 2.4F}, {23, 2.4F}, {29, 8}}, paint.towards(kDark, 0.2F));
    image.polygon({{9, 8}, {13, 3.6F}, {17.4F, 3.6F}, {17.4F, 8}}, DemoColor::of(120, 128, 160));
    image.polygon({{18.6F, 8}, {18.6F, 3.6F}, {22.4F, 3.6F}, {26.8F, 8}},
                  DemoColor::of(150, 150, 176));
    image.polygon({{1, 9}, {3, 7.6F}, {29, 7.6F}, {35, 9.6F}, {36, 15}, {1, 15}}, paint);
    image.line({2, 9.2F}, {34, 9.4F}, 0.7F, paint.towards(DemoColor::of(255, 220, 190), 0.5F));
    image.rectangle(1, 9.6F, 1.8F, 2.4F, DemoColor::of(255, 60, 48));
    wheel(image, 8.6F, 15);
    wheel(image, 28, 15);
    headlights(image, 36, 11.4F);
    std::vector<DemoImage> phases;
    phases.push_back(std::move(image));
    return phases;
}

std::vector<DemoImage> drawTram() {
    DemoImage image(124, 34);
    image.ellipse({48, 32.4F}, 48, 1.4F, DemoColor::of(0, 0, 0, 0.5F));
    image.line({30, 0.6F}, {38, 5}, 0.8F, kDark);
    image.line({46, 0.6F}, {38, 5}, 0.8F, kDark);
    image.line({28, 0.6F}, {48, 0.6F}, 0.8F, kDark);
    image.polygon({{1, 7}, {4, 5}, {92, 5}, {96, 10}, {97, 29}, {1, 29}},
                  DemoColor::of(196, 60, 52));
    image.rectangle(1, 20, 96, 3, DemoColor::of(238, 214, 186));
    for (int i = 0; i < 7; ++i) {
        const float x = 4.5F + 12 * static_cast<float>(i);
        image.rectangle(x, 9, 9.6F, 9, DemoColor::of(255, 224, 156));
        if (i % 3 != 1) { // somebody sits there
            image.ellipse({x + 4.6F, 13.2F}, 1.8F, 2, DemoColor::of(92, 58, 54));
            image.rectangle(x + 2, 15, 5.2F, 3, DemoColor::of(78, 56, 72));
        }
    }
    image.polygon({{89, 9}, {92.6F, 9}, {95.6F, 13}, {95.6F, 18}, {89, 18}},
                  DemoColor::of(150, 160, 184));
    image.rectangle(4, 28, 90, 2.4F, kDark);
    for (const float x : {14.F, 24.F, 72.F, 82.F}) {
        image.ellipse({x, 30}, 2.6F, 2.6F, DemoColor::of(30, 28, 38));
    }
    headlights(image, 97, 25);
    std::vector<DemoImage> phases;
    phases.push_back(std::move(image));
    return phases;
}

std::vector<DemoImage> drawWalker(const DemoColor& coat, const DemoColor& trousers, bool hasDog) {
    std::vector<DemoImage> phases;
    for (int step = 0; step < kSteps; ++step) {
        const float phase = 2 * std::numbers::pi_v<float> * static_cast<float>(step) / kSteps;
        phases.push_back(walkerAt(phase, coat, trousers, hasDog));
    }
    return phases;
}

} // namespace ovelo::demo
