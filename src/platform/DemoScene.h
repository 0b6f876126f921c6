#pragma once

#include "platform/DemoSprite.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ovelo {

/// A small harbour at dusk, for the demo camera: the moon and clouds drift, a lighthouse turns,
/// ships cross the water that mirrors it all, and people and cars pass on the quay.
///
/// What stands still is drawn once; a picture costs well under 0.1 ms.
///
/// thread  any, after the first call of sharedInstance() has made it (some 20 ms)
class DemoScene final {
public:
    static constexpr int kWidth = DemoCanvas::kWidth;
    static constexpr int kHeight = DemoCanvas::kHeight;
    static constexpr std::size_t kBytesPerRow = 4 * DemoCanvas::kWidth;
    using Picture = std::array<std::uint8_t, kBytesPerRow * kHeight>; // RGBA, rows from the top

    DemoScene();

    static const DemoScene& sharedInstance();

    /// Paints a whole picture, which depends on its number alone; 14 make a second.
    void draw(std::uint64_t number, Picture& picture) const;

private:
    /// Something that crosses the picture again and again.
    struct Traveller {
        const std::vector<DemoSprite>* phases; // of its movement, in turn
        int ground;                            // row that its lower edge stands on
        float speed;                           // pixels a picture; negative goes left
        int start;                             // where it is at picture 0
        int gap;                               // pixels out of sight between two crossings
    };
    struct Star {
        int x;
        int y;
        float light;
        std::uint64_t period; // of its twinkling, in pictures
        float phase;
    };

    /// Left edge of a traveller that is `width` wide.
    static int placeOf(const Traveller& one, int width, std::uint64_t number);

    void placeStars();
    void placeTravellers();
    void drawStars(const DemoCanvas& canvas, std::uint64_t number) const;
    void drawClouds(const DemoCanvas& canvas, std::uint64_t number) const;
    void drawBeam(const DemoCanvas& canvas, std::uint64_t number) const;
    void drawBeamSide(const DemoCanvas& canvas, float reach, float strength) const;
    void drawWater(const DemoCanvas& canvas, std::uint64_t number) const;
    void drawGlitter(const DemoCanvas& canvas, std::uint64_t number) const;
    void drawShip(const DemoCanvas& canvas, const Traveller& ship, std::uint64_t number) const;
    void drawTraveller(const DemoCanvas& canvas, const Traveller& one, std::uint64_t number) const;

    // What stands still.
    DemoSprite sky_;
    DemoSprite shore_;
    DemoSprite quay_;

    // What moves.
    DemoSprite moon_;
    std::vector<DemoSprite> clouds_;
    std::vector<DemoSprite> gull_;
    DemoSprite flash_;
    std::vector<std::vector<DemoSprite>> cast_; // the travellers' drawings
    std::vector<Star> stars_;
    std::vector<Traveller> gulls_;
    std::vector<Traveller> ships_;
    std::vector<Traveller> walkers_;
    std::vector<Traveller> traffic_;
};

} // namespace ovelo
