#include "viewer/WindowLink.h"

#include <utility>

namespace ovelo {

WindowLink::WindowLink(ViewerOptions options, Handlers handlers)
    : handlers_(std::move(handlers))
    , link_(std::move(options), *this) {
}

WindowLink::~WindowLink() {
    link_.stop();
}

void WindowLink::linkChanged(const LinkState& state) {
    QMetaObject::invokeMethod(
        &window_, [this, state] { handlers_.changed(state); }, Qt::QueuedConnection);
}

void WindowLink::linkReceived(ViewerEvent event) {
    if (auto* block = std::get_if<ViewerBlock>(&event)) {
        if (block->header.kind == BlockKind::Picture) {
            keepPicture(std::move(*block));
        }
        return;
    }
    QMetaObject::invokeMethod(
        &window_, [this, event = std::move(event)] { handlers_.received(event); },
        Qt::QueuedConnection);
}

void WindowLink::keepPicture(ViewerBlock picture) {
    {
        const std::lock_guard lock(lock_);
        const bool posted = newest_.has_value();
        newest_ = std::move(picture);
        if (posted) {
            return;
        }
    }
    QMetaObject::invokeMethod(
        &window_, [this] { deliverPicture(); }, Qt::QueuedConnection);
}

void WindowLink::deliverPicture() {
    std::optional<ViewerBlock> picture;
    {
        const std::lock_guard lock(lock_);
        picture = std::exchange(newest_, std::nullopt);
    }
    if (picture) {
        handlers_.received(ViewerEvent(std::move(*picture)));
    }
}

} // namespace ovelo
