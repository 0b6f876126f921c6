#include "platform/GstFrameDelivery.h"

#include "platform/GstPicture.h"

#include <utility>

namespace ovelo {

void GstFrameDelivery::attach(FrameHandler handler) {
    const std::lock_guard lock(lock_);
    handler_ = std::move(handler);
}

void GstFrameDelivery::detach() {
    const std::lock_guard lock(lock_);
    handler_ = nullptr;
}

void GstFrameDelivery::deliver(GstPointer<GstSample> sample) {
    pictures_.fetch_add(1);
    const std::lock_guard lock(lock_);
    if (!handler_) {
        return;
    }
    if (const auto frame = frameOfPicture(std::move(sample))) {
        handler_(*frame);
    }
}

} // namespace ovelo
