#include "platform/DemoCamera.h"

#include "platform/DemoScene.h"
#include "platform/MainThread.h"
#include "platform/Threads.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace ovelo {

/// Picture buffers: one that nobody holds any more is painted again.
class DemoCamera::Pictures final : public std::enable_shared_from_this<Pictures> {
public:
    std::shared_ptr<DemoScene::Picture> take() {
        auto picture = takeFree();
        if (!picture) {
            picture = std::make_unique<DemoScene::Picture>();
        }
        // A picture may be kept longer than the camera lives.
        return {picture.release(), [pool = weak_from_this()](DemoScene::Picture* done) {
                    std::unique_ptr<DemoScene::Picture> owned(done);
                    if (const auto alive = pool.lock()) {
                        alive->putBack(std::move(owned));
                    }
                }};
    }

private:
    std::unique_ptr<DemoScene::Picture> takeFree() {
        const std::lock_guard guard(lock_);
        if (free_.empty()) {
            return nullptr;
        }
        auto picture = std::move(free_.back());
        free_.pop_back();
        return picture;
    }

    void putBack(std::unique_ptr<DemoScene::Picture> picture) {
        const std::lock_guard guard(lock_);
        free_.push_back(std::move(picture));
    }

    std::mutex lock_;
    std::vector<std::unique_ptr<DemoScene::Picture>> free_;
};

namespace {

using Steady = std::chrono::steady_clock;

// Just over a fourteenth of a second: a viewer's pace as it begins lets every picture pass. At 20 a
// second it would let every other one pass.
constexpr auto kInterval = std::chrono::milliseconds(72);

} // namespace

DemoCamera::DemoCamera() : pictures_(std::make_shared<Pictures>()) {
}

DemoCamera::~DemoCamera() {
    stop();
}

void DemoCamera::start(FrameHandler handler) {
    if (thread_.joinable()) {
        return;
    }
    hasEnded_ = false;
    thread_ = std::jthread([this, handler = std::move(handler)](const std::stop_token& stop) {
        run(stop, handler);
        hasEnded_ = true;
    });
}

void DemoCamera::stop() {
    if (!thread_.joinable()) {
        return;
    }
    thread_.request_stop();
    if (MainThread::isCurrent()) { // for which the handler may be waiting
        MainThread::serveCallsOf(thread_.get_id(), [this] { return hasEnded_.load(); });
    }
    thread_.join();
}

std::vector<std::string> DemoCamera::formatSummaries() const {
    return thread_.joinable() ? std::vector<std::string>{"320 x 240, 14 pictures a second"}
                              : std::vector<std::string>{};
}

void DemoCamera::run(const std::stop_token& stop, const FrameHandler& handler) const {
    settleThread("demo camera");
    const DemoScene& scene = DemoScene::sharedInstance();
    std::mutex lock;
    std::condition_variable_any never;
    std::unique_lock guard(lock);
    const auto began = Steady::now();
    while (!stop.stop_requested()) {
        // Numbered by the clock: a late picture is left out, and the scene keeps its pace.
        const auto number = (Steady::now() - began) / kInterval;
        const auto picture = pictures_->take();
        scene.draw(static_cast<std::uint64_t>(number), *picture);
        handler({DemoScene::kWidth, DemoScene::kHeight, DemoScene::kBytesPerRow, picture->data(),
                 picture});
        never.wait_until(guard, stop, began + (number + 1) * kInterval, [] { return false; });
    }
}

} // namespace ovelo
