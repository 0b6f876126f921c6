#pragma once

#include "platform/Movie.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace ovelo {

/// What fake movies of one test have in common.
///
/// thread  any
struct FakeMovies {
    Movie::Time duration = std::chrono::seconds(1);
    bool hasPictures = true;
    bool isStuck = false;                       // each picture takes until it is asked to stop
    std::function<void(Movie::Time)> onPicture; // may throw

    std::atomic<int> open = 0; // now
    std::atomic<int> opened = 0;
    std::atomic<int> mostOpen = 0;
    std::atomic<int> asked = 0; // pictures
};

/// A movie of nothing: its pictures are of one grey pixel.
class FakeMovie final : public Movie {
public:
    explicit FakeMovie(FakeMovies& movies) : movies_(movies) {
        ++movies_.opened;
        const int open = ++movies_.open;
        int most = movies_.mostOpen;
        while (open > most && !movies_.mostOpen.compare_exchange_weak(most, open)) {
        }
    }
    ~FakeMovie() override { --movies_.open; }

    [[nodiscard]] Time duration() const override { return movies_.duration; }

    std::optional<VideoFrame> pictureAt(Time time, const std::stop_token& stop) override {
        ++movies_.asked;
        if (movies_.onPicture) {
            movies_.onPicture(time);
        }
        if (movies_.isStuck) {
            std::mutex lock;
            std::unique_lock guard(lock);
            std::condition_variable_any().wait(guard, stop, [] { return false; });
        }
        if (!movies_.hasPictures || stop.stop_requested()) {
            return std::nullopt;
        }
        auto pixel = std::make_shared<std::vector<std::uint8_t>>(4, std::uint8_t{128});
        const std::uint8_t* pixels = pixel->data();
        return VideoFrame{1, 1, 4, pixels, std::move(pixel)};
    }

private:
    FakeMovies& movies_;
};

} // namespace ovelo
