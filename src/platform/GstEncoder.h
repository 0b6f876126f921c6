#pragma once

#include "platform/GstTypes.h"
#include "platform/Result.h"
#include "platform/VideoFrame.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ovelo {

/// What came out of an encoder for one thing that went in.
struct EncodedPacket {
    std::vector<std::uint8_t> bytes;
    std::int64_t label = 0; // what was given with what went in
    bool isKey = false;
};

/// Encodes pictures or sound. One packet comes out for each picture or block that went in, in the
/// same order.
///
/// thread  one
class GstEncoder final {
public:
    /// chain  the elements between what goes in and what comes out, as text
    /// caps   of what goes in
    [[nodiscard]] static Result<std::unique_ptr<GstEncoder>> make(const std::string& caps,
                                                                  const std::string& chain);
    ~GstEncoder();
    GstEncoder(const GstEncoder&) = delete;
    GstEncoder& operator=(const GstEncoder&) = delete;

    /// Gives a picture in; its pixels are not copied.
    ///
    /// time     from any zero, never falling: what the encoder's bit rate goes by
    /// wantKey  it can be decoded without those before it
    void push(const VideoFrame& frame, std::chrono::nanoseconds time, std::int64_t label,
              bool wantKey);

    /// Gives a block of sound in.
    void push(std::span<const std::int16_t> samples, std::chrono::nanoseconds time,
              std::int64_t label);

    /// The next packet, waiting up to `patience` for it.
    [[nodiscard]] std::optional<EncodedPacket>
    pull(std::chrono::nanoseconds patience = std::chrono::nanoseconds::zero());

    /// Nothing more goes in; what is in comes out.
    void end();

    /// How much has gone in and not come out.
    [[nodiscard]] std::size_t pending() const { return labels_.size(); }

    /// The decoder's configuration; there from the first packet on.
    [[nodiscard]] const std::vector<std::uint8_t>& config() const { return config_; }

    /// Why it does not go on, if so.
    [[nodiscard]] std::optional<Failure> failure() const;

private:
    explicit GstEncoder(GstPointer<GstElement> pipeline);
    void takeConfig(GstSample* sample);
    [[nodiscard]] std::int64_t takeLabel(std::uint64_t time);

    GstPointer<GstElement> pipeline_;
    GstPointer<GstElement> source_;
    GstPointer<GstElement> sink_;
    struct Label {
        std::int64_t value;
        std::chrono::nanoseconds time;
        bool isPicture;
    };
    std::deque<Label> labels_; // of what is in
    std::vector<std::uint8_t> config_;
};

} // namespace ovelo
