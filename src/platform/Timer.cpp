#include "platform/Timer.h"

#include <QTimer>

#include <utility>

namespace ovelo {

namespace {

class QtTimer final : public Timer {
public:
    QtTimer(std::chrono::milliseconds interval, bool once, std::function<void()> tick) {
        timer_.setSingleShot(once);
        timer_.setTimerType(Qt::PreciseTimer);
        // The functor belongs to the connection, which Qt keeps alive during the call: `tick` may
        // end this object.
        QObject::connect(&timer_, &QTimer::timeout, [tick = std::move(tick)] { tick(); });
        timer_.start(interval);
    }

private:
    QTimer timer_;
};

} // namespace

std::unique_ptr<Timer> Timer::repeating(std::chrono::milliseconds interval,
                                        std::function<void()> tick) {
    return std::make_unique<QtTimer>(interval, false, std::move(tick));
}

std::unique_ptr<Timer> Timer::once(std::chrono::milliseconds delay, std::function<void()> tick) {
    return std::make_unique<QtTimer>(delay, true, std::move(tick));
}

} // namespace ovelo
