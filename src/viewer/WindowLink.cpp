#include "viewer/WindowLink.h"

#include <utility>

namespace ovelo {

WindowLink::WindowLink(ViewerOptions options, Handlers handlers, ViewerSound& sound)
    : handlers_(std::move(handlers))
    , sound_(sound)
    , link_(std::move(options), *this) {
}

WindowLink::~WindowLink() {
    link_.stop();
    sound_.reset();
}

void WindowLink::linkChanged(const LinkState& state) {
    if (state.kind != LinkState::Kind::Connected) {
        sound_.reset();
    }
    QMetaObject::invokeMethod(
        &window_, [this, state] { handlers_.changed(state); }, Qt::QueuedConnection);
}

void WindowLink::linkReceived(ViewerEvent event) {
    if (auto* block = std::get_if<ViewerBlock>(&event)) {
        if (block->header.kind == BlockKind::Picture) {
            keepPicture(std::move(*block));
        } else {
            sound_.handleBlock(*block);
        }
        return;
    }
    if (const auto* text = std::get_if<TextEvent>(&event)) {
        sound_.handleLine(text->line);
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
