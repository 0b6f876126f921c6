#pragma once

#include "platform/GstTypes.h"
#include "platform/SoundEncoder.h"

#include <cstdint>
#include <memory>
#include <string>

typedef struct _GstPad GstPad;

namespace ovelo {

/// A chain of GStreamer's elements that has no thread: who encodes is who pushes.
class GstSoundEncoder final : public SoundEncoder {
public:
    /// chain   elements from captured sound to packets
    /// isPcm   it ends in samples, which go out big-endian
    /// errors  in the library's words
    static Result<std::unique_ptr<SoundEncoder>> build(const std::string& chain, bool isPcm);
    ~GstSoundEncoder() override;

    bool encode(std::span<const std::int16_t> samples, const PacketTaker& take) override;

private:
    struct Output; // where packets arrive
    struct PadRelease {
        void operator()(GstPad* pad) const noexcept;
    };
    using Pad = std::unique_ptr<GstPad, PadRelease>;

    GstSoundEncoder(GstPointer<GstElement> chain, bool isPcm);
    [[nodiscard]] bool connect();

    const GstPointer<GstElement> chain_;
    const std::unique_ptr<Output> output_;
    const Pad feed_;
    const Pad drain_;
    std::uint64_t samples_ = 0; // so far
};

} // namespace ovelo
