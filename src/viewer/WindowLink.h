#pragma once

#include "viewer/ViewerLink.h"
#include "viewer/ViewerSound.h"

#include <QObject>

#include <functional>
#include <mutex>
#include <optional>

namespace ovelo {

/// A link whose news arrive on the window's thread. Of pictures that come faster than the window
/// draws, only the newest is kept. Sound goes to `sound`, on the link's own thread: it would stutter
/// if it waited for the window.
///
/// thread  the window's
/// lifetime  nothing is called any more when it is destroyed
class WindowLink final : private ViewerLink::Listener {
public:
    struct Handlers {
        std::function<void(const LinkState&)> changed;
        std::function<void(const ViewerEvent&)> received;
    };

    /// lifetime  `sound` outlives the link
    WindowLink(ViewerOptions options, Handlers handlers, ViewerSound& sound);
    ~WindowLink() override;
    WindowLink(const WindowLink&) = delete;
    WindowLink& operator=(const WindowLink&) = delete;

    void start() { link_.start(); }
    [[nodiscard]] ViewerClient& client() { return link_.client(); }

private:
    void linkChanged(const LinkState& state) override;
    void linkReceived(ViewerEvent event) override;
    void keepPicture(ViewerBlock picture);
    void deliverPicture();

    Handlers handlers_;
    ViewerSound& sound_;
    QObject window_; // of the window's thread; what was posted to it dies with it
    std::mutex lock_;
    std::optional<ViewerBlock> newest_; // guarded by lock_; set: its delivery is posted
    ViewerLink link_;                   // last: its thread uses the rest
};

} // namespace ovelo
