#include "platform/DemoScene.h"

#include "platform/DemoActors.h"
#include "platform/DemoBackdrop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

namespace ovelo {

namespace {

constexpr float kTurn = 2 * std::numbers::pi_v<float>;
constexpr std::uint64_t kBeamTurn = 180;   // pictures that the lighthouse needs for one turn
constexpr std::uint64_t kMoonTrip = 16800; // pictures from one side to the other: 20 minutes
constexpr int kMargin = 8;                 // pixels that a wave may move a row

// Where the moon rises and how high it gets.
constexpr float kMoonLeft = 150;
constexpr float kMoonRight = 300;
constexpr float kMoonHeight = 34;

std::uint32_t hash(std::uint64_t value) {
    value ^= value >> 33U;
    value *= 0xff51afd7ed558ccdULL;
    value ^= value >> 33U;
    return static_cast<std::uint32_t>(value);
}

/// The sine of a movement that repeats after `period` pictures; `phase` in turns.
float sine(std::uint64_t number, std::uint64_t period, float phase = 0) {
    constexpr std::size_t kSteps = 512;
    static const auto kTable = [] {
        std::array<float, kSteps> table{};
        for (std::size_t i = 0; i < kSteps; ++i) {
            table[i] = std::sin(kTurn * static_cast<float>(i) / kSteps);
        }
        return table;
    }();
    const auto along = static_cast<std::size_t>(number % period * kSteps / period);
    return kTable[(along + static_cast<std::size_t>(phase * kSteps)) % kSteps];
}

DemoPoint moonAt(std::uint64_t number) {
    // Starts half way, so that the first picture shows it well.
    const float part =
        static_cast<float>((number + kMoonTrip / 3) % kMoonTrip) / static_cast<float>(kMoonTrip);
    return {kMoonLeft + (kMoonRight - kMoonLeft) * part,
            78 - kMoonHeight * std::sin(kTurn / 2 * part)};
}

std::vector<DemoSprite> spritesOf(const std::vector<DemoImage>& images, bool isMirrored) {
    std::vector<DemoSprite> sprites;
    sprites.reserve(images.size());
    for (const DemoImage& image : images) {
        sprites.emplace_back(isMirrored ? image.mirrored() : image);
    }
    return sprites;
}

/// One row of the mirror image, darkened towards the colour of the water.
void mirrorRow(std::uint8_t* to, const std::uint8_t* from, int shift, int depth) {
    constexpr std::ptrdiff_t kPixels = DemoCanvas::kWidth;
    constexpr std::ptrdiff_t kEdge = kMargin;
    constexpr std::ptrdiff_t kLeft = kEdge * 4;
    std::uint8_t wide[(kPixels + 2 * kEdge) * 4];
    std::memcpy(wide + kLeft, from, kPixels * 4);
    for (std::ptrdiff_t i = 0; i < kEdge; ++i) {
        std::memcpy(wide + i * 4, from, 4);
        std::memcpy(wide + kLeft + (kPixels + i) * 4, from + (kPixels - 1) * 4, 4);
    }
    // The alpha of 255 comes out of the same sum.
    // Far water is bright like the sky over it, near water shows its own dark colour.
    const int mirror = 190 - depth * 4 / 3; // of 256
    const int own = 256 - mirror;
    const std::uint16_t base[4] = {
        static_cast<std::uint16_t>(own * 26), static_cast<std::uint16_t>(own * 30),
        static_cast<std::uint16_t>(own * 62), static_cast<std::uint16_t>(own * 255)};
    std::uint16_t bases[32];
    for (std::size_t i = 0; i < 32; ++i) {
        bases[i] = base[i % 4];
    }
    const std::uint8_t* source = wide + kLeft + std::ptrdiff_t{shift} * 4;
    const auto strength = static_cast<std::uint16_t>(mirror);
    for (std::ptrdiff_t block = 0; block < kPixels * 4; block += 32) {
        for (int i = 0; i < 32; ++i) {
            const auto sum = static_cast<std::uint16_t>(source[block + i] * strength + bases[i]);
            to[block + i] = static_cast<std::uint8_t>(sum >> 8U);
        }
    }
}

} // namespace

DemoScene::DemoScene()
    : sky_(demo::drawSky())
    , shore_(demo::drawShore())
    , quay_(demo::drawQuay())
    , moon_(demo::drawMoon())
    , gull_(spritesOf(demo::drawGull(), false))
    , flash_(demo::drawFlash()) {
    for (int i = 0; i < 3; ++i) {
        clouds_.emplace_back(demo::drawCloud(i));
    }
    placeStars();
    placeTravellers();
}

const DemoScene& DemoScene::sharedInstance() {
    static const DemoScene scene;
    return scene;
}

void DemoScene::placeStars() {
    constexpr std::uint64_t kStars = 110;
    for (std::uint64_t i = 0; i < kStars; ++i) {
        const int x = static_cast<int>(hash(3 * i + 1) % kWidth);
        const int y = static_cast<int>(hash(3 * i + 2) % 86);
        const float size = static_cast<float>(hash(3 * i + 3) % 100) / 100;
        const float dusk = 1 - static_cast<float>(y) / 90; // the bright sky hides them
        stars_.push_back({x, y, (0.15F + 0.75F * size * size) * dusk, 60 + hash(i) % 40, size});
    }
}

void DemoScene::placeTravellers() {
    using demo::drawCar;
    using demo::drawWalker;
    const auto add = [this](const std::vector<DemoImage>& images, bool isMirrored) {
        cast_.push_back(spritesOf(images, isMirrored));
        return cast_.size() - 1;
    };
    const std::size_t freighter = add(demo::drawFreighter(), false);
    const std::size_t sailboat = add(demo::drawSailboat(), true);
    const std::size_t fishing = add(demo::drawFishingBoat(), false);
    const std::size_t tram = add(demo::drawTram(), false);
    const std::size_t blueCar = add(drawCar(DemoColor::of(58, 92, 140)), false);
    const std::size_t redCar = add(drawCar(DemoColor::of(168, 46, 52)), true);
    const std::size_t paleCar = add(drawCar(DemoColor::of(196, 186, 178)), true);
    const std::size_t first = cast_.size();
    for (const bool isMirrored : {false, true}) {
        add(drawWalker(DemoColor::of(150, 62, 58), DemoColor::of(44, 46, 70), false), isMirrored);
        add(drawWalker(DemoColor::of(66, 94, 110), DemoColor::of(52, 44, 52), true), isMirrored);
        add(drawWalker(DemoColor::of(190, 150, 80), DemoColor::of(60, 50, 62), false), isMirrored);
    }
    // cast_ has all its members now: the travellers may point into it.
    ships_ = {{&cast_[freighter], 141, 0.16F, 20, 120},
              {&cast_[sailboat], 158, -0.21F, 236, 90},
              {&cast_[fishing], 180, 0.33F, 96, 200}};
    gulls_ = {
        {&gull_, 47, 0.7F, 40, 300}, {&gull_, 55, 0.66F, 62, 340}, {&gull_, 36, -0.52F, 200, 420}};
    walkers_ = {
        {&cast_[first], 205, 0.62F, 60, 30},       {&cast_[first + 4], 206, -0.5F, 226, 60},
        {&cast_[first + 2], 208, 0.74F, 172, 90},  {&cast_[first + 5], 209, -0.66F, 120, 40},
        {&cast_[first + 1], 211, 0.45F, -10, 140}, {&cast_[first + 3], 212, -0.7F, 300, 70}};
    traffic_ = {{&cast_[tram], 222, 1.6F, -60, 900},
                {&cast_[blueCar], 228, 2.6F, 130, 460},
                {&cast_[redCar], 238, -3.1F, 250, 380},
                {&cast_[paleCar], 238, -2.7F, 700, 620}};
}

void DemoScene::draw(std::uint64_t number, Picture& picture) const {
    const DemoCanvas canvas{picture.data()};
    sky_.paint(canvas, 0, 0);
    drawStars(canvas, number);
    const DemoPoint moon = moonAt(number);
    moon_.paint(canvas, static_cast<int>(moon.x) - 32, static_cast<int>(moon.y) - 32);
    drawClouds(canvas, number);
    shore_.paint(canvas, 0, 0);
    drawBeam(canvas, number);
    drawWater(canvas, number);
    drawGlitter(canvas, number);
    for (const Traveller& ship : ships_) {
        drawShip(canvas, ship, number);
    }
    for (const Traveller& gull : gulls_) {
        drawTraveller(canvas, gull, number);
    }
    quay_.paint(canvas, 0, 0);
    for (const Traveller& walker : walkers_) {
        drawTraveller(canvas, walker, number);
    }
    for (const Traveller& vehicle : traffic_) {
        drawTraveller(canvas, vehicle, number);
    }
}

void DemoScene::drawStars(const DemoCanvas& canvas, std::uint64_t number) const {
    for (const Star& star : stars_) {
        const float twinkle = 0.75F + 0.25F * sine(number, star.period, star.phase);
        canvas.shine(star.x, star.y, DemoColor{1, 0.97F, 0.9F, star.light * twinkle});
    }
}

void DemoScene::drawClouds(const DemoCanvas& canvas, std::uint64_t number) const {
    struct Course {
        std::size_t shape;
        int y;
        std::uint64_t pace; // pictures for one pixel
        int start;
    };
    constexpr Course kCourses[] = {
        {0, 62, 9, 30}, {1, 84, 14, 190}, {2, 40, 7, 250}, {1, 98, 20, 60}};
    for (const Course& course : kCourses) {
        const DemoSprite& cloud = clouds_[course.shape];
        const int way = kWidth + cloud.width();
        const int along =
            (course.start + static_cast<int>(number / course.pace % static_cast<unsigned>(way))) %
            way;
        cloud.paint(canvas, along - cloud.width(), course.y);
    }
}

void DemoScene::drawBeam(const DemoCanvas& canvas, std::uint64_t number) const {
    const float angle =
        kTurn * static_cast<float>(number % kBeamTurn) / static_cast<float>(kBeamTurn) + 2.6F;
    const float aside = std::cos(angle);   // -1 left, 1 right
    const float towards = std::sin(angle); // 1 looks at us
    drawBeamSide(canvas, 230 * aside, 0.34F + 0.14F * towards);
    drawBeamSide(canvas, -230 * aside, 0.34F - 0.14F * towards);
    if (std::abs(aside) < 0.16F) {
        flash_.paint(canvas, static_cast<int>(demo::kLamp.x) - 40,
                     static_cast<int>(demo::kLamp.y) - 40);
    }
}

void DemoScene::drawBeamSide(const DemoCanvas& canvas, float reach, float strength) const {
    const int length = static_cast<int>(std::abs(reach));
    const int step = reach < 0 ? -1 : 1;
    for (int i = 3; i < length; ++i) {
        const int x = static_cast<int>(demo::kLamp.x) + step * i;
        if (x < 0 || x >= kWidth) {
            break;
        }
        const float along = static_cast<float>(i) / static_cast<float>(length);
        const float half = 1.4F + 0.055F * static_cast<float>(i);
        const float light = strength * (1 - along) * 255;
        for (int dy = -static_cast<int>(half); dy <= static_cast<int>(half); ++dy) {
            const float part = static_cast<float>(dy) / half;
            const int y = static_cast<int>(demo::kLamp.y) + dy;
            const int added = static_cast<int>(light * (1 - part * part));
            std::uint8_t* at = canvas.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
            at[0] = static_cast<std::uint8_t>(std::min(255, at[0] + added));
            at[1] = static_cast<std::uint8_t>(std::min(255, at[1] + added * 15 / 16));
            at[2] = static_cast<std::uint8_t>(std::min(255, at[2] + added * 3 / 4));
        }
    }
}

void DemoScene::drawWater(const DemoCanvas& canvas, std::uint64_t number) const {
    for (int y = demo::kHorizon; y < demo::kQuay; ++y) {
        const int depth = y - demo::kHorizon;
        const auto near = static_cast<float>(depth);
        const float wave = sine(number, 46, near * 0.183F) + 0.6F * sine(number, 31, near * 0.084F);
        const int shift = static_cast<int>(std::lround(wave * (0.4F + near * 0.055F)));
        const int lift = sine(number, 64, near * 0.127F) > 0.55F ? 1 : 0;
        const int source = std::max(0, demo::kHorizon - 2 - depth * 15 / 16 - lift);
        mirrorRow(canvas.row(y), canvas.row(source), std::clamp(shift, -kMargin, kMargin), depth);
    }
}

/// Short lights on the waves: in the way of the moon and of the sunset, and a few anywhere.
void DemoScene::drawGlitter(const DemoCanvas& canvas, std::uint64_t number) const {
    constexpr std::uint64_t kGlints = 80;
    constexpr std::uint64_t kLife = 10; // pictures
    const float moon = moonAt(number).x;
    for (std::uint64_t i = 0; i < kGlints; ++i) {
        const std::uint64_t age = number + i * 7;
        const std::uint32_t chance = hash((age / kLife) * kGlints + i);
        const int depth = static_cast<int>(chance % 64);
        const float spread = 7 + static_cast<float>(depth) * 0.34F;
        const float aside = static_cast<float>((chance >> 8U) % 2000) / 1000 - 1;
        const bool isMoon = i % 4 != 0;
        const float x = isMoon ? moon + aside * spread : 160 + 160 * aside;
        const float life = static_cast<float>(age % kLife) / static_cast<float>(kLife);
        const float light = std::sin(life * kTurn / 2) * (isMoon ? 0.5F : 0.16F);
        const int length = 1 + depth / 12;
        for (int dx = 0; dx < length; ++dx) {
            canvas.shine(static_cast<int>(x) + dx, demo::kHorizon + depth, {1, 0.9F, 0.72F, light});
        }
    }
}

void DemoScene::drawShip(const DemoCanvas& canvas, const Traveller& ship,
                         std::uint64_t number) const {
    const std::size_t phase = number / 12 % ship.phases->size(); // its lamp blinks slowly
    const DemoSprite& sprite = (*ship.phases)[phase];
    const int x = placeOf(ship, sprite.width(), number);
    const int bob = sine(number, 58, static_cast<float>(ship.ground) / 50) > 0.3F ? 1 : 0;
    const int rows = std::min(sprite.height() * 3 / 5, demo::kQuay - ship.ground);
    for (int i = 0; i < rows; ++i) { // its mirror image, flattened
        const auto near = static_cast<float>(i);
        const float wave = sine(number, 34, near * 0.143F) * (0.6F + 0.09F * near);
        const int strength = 150 - i * 110 / rows;
        sprite.paintRow(canvas, sprite.height() - 1 - i * 5 / 3,
                        x + static_cast<int>(std::lround(wave)), ship.ground + i, strength);
    }
    sprite.paint(canvas, x, ship.ground - sprite.height() + bob);
}

void DemoScene::drawTraveller(const DemoCanvas& canvas, const Traveller& one,
                              std::uint64_t number) const {
    const DemoSprite& sprite = (*one.phases)[number / 2 % one.phases->size()];
    sprite.paint(canvas, placeOf(one, sprite.width(), number), one.ground - sprite.height());
}

int DemoScene::placeOf(const Traveller& one, int width, std::uint64_t number) {
    const int way = kWidth + width + one.gap;
    const double gone = static_cast<double>(std::abs(one.speed)) * static_cast<double>(number);
    const int along = static_cast<int>(std::fmod(gone, way));
    const int from = one.start + width + (one.speed > 0 ? along : -along);
    return (from % way + way) % way - width;
}

} // namespace ovelo
