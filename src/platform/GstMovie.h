#pragma once

#include "platform/GstTypes.h"
#include "platform/Movie.h"

#include <cstdint>

namespace ovelo {

/// A movie read through GStreamer, which decodes a few pictures ahead on threads of its own and
/// then waits until they are taken.
///
/// Goes forward picture by picture, for finding a place in a movie means decoding from the last
/// whole picture before it.
class GstMovie final : public Movie {
public:
    /// pipeline  positioned at its beginning, delivering as fast as pictures are taken
    GstMovie(std::shared_ptr<GstElement> pipeline, Time duration);
    ~GstMovie() override;

    [[nodiscard]] Time duration() const override { return duration_; }
    std::optional<VideoFrame> pictureAt(Time time, const std::stop_token& stop) override;

private:
    struct Patience {
        std::chrono::steady_clock::time_point deadline;
        const std::stop_token& stop;
    };

    struct Picture {
        Time start;
        VideoFrame frame;
    };

    [[nodiscard]] bool isAhead(Time time) const;
    bool goTo(Time time, const Patience& patience);
    bool seek(Time time, int flags);
    bool stepTo(Time time, const Patience& patience);
    bool readNext(const Patience& patience);
    GstPointer<GstSample> pull(const Patience& patience);

    const std::shared_ptr<GstElement> pipeline_;
    const GstPointer<GstElement> pictures_; // the sink
    const Time duration_;
    std::optional<Picture> current_;
    std::optional<Picture> next_; // known: current_ is shown until then
    Time from_{};                 // where reading began
    bool ended_ = false;          // nothing comes after next_
};

} // namespace ovelo
