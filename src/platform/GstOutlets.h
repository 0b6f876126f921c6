#pragma once

#include "platform/GstFrameDelivery.h"
#include "platform/GstSoundDelivery.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace ovelo {

/// Where a pipeline's media go; what is null is not wanted. At least one is not null.
struct GstOutlets {
    std::shared_ptr<GstFrameDelivery> pictures;
    std::shared_ptr<GstSoundDelivery> sound;

    /// Returns when no handler is running any more; none is called again.
    void detach() const {
        if (pictures) {
            pictures->detach();
        }
        if (sound) {
            sound->detach();
        }
    }

    /// How many pictures have come so far, or pieces of sound where there are no pictures.
    [[nodiscard]] std::uint64_t arrivals() const {
        return pictures ? pictures->pictures() : sound->pieces();
    }
};

} // namespace ovelo
