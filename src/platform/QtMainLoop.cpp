#include "platform/QtMainLoop.h"

#include "platform/MainThread.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <memory>
#include <mutex>

namespace ovelo {

namespace {

const auto kServe = static_cast<QEvent::Type>(QEvent::registerEventType());

} // namespace

/// Turns any number of wakes into one event of Qt's loop.
///
/// The receiver of the event lives on the main thread; a wake that comes after detach() finds it
/// gone.
class QtMainLoop::Waker {
public:
    Waker() : receiver_(std::make_unique<Receiver>(*this)) {}

    /// thread  any
    void wake() {
        const std::lock_guard lock(lock_);
        if (receiver_ && !pending_) {
            pending_ = true;
            QCoreApplication::postEvent(receiver_.get(), new QEvent(kServe)); // Qt owns the event
        }
    }

    /// thread  main
    void detach() {
        std::unique_ptr<Receiver> receiver;
        const std::lock_guard lock(lock_);
        receiver.swap(receiver_); // dies after the lock is released
    }

private:
    class Receiver final : public QObject {
    public:
        explicit Receiver(Waker& waker) : waker_(waker) {}

    protected:
        bool event(QEvent* event) override {
            if (event->type() != kServe) {
                return QObject::event(event);
            }
            waker_.eventArrived();
            MainThread::serve();
            return true;
        }

    private:
        Waker& waker_;
    };

    /// A call that is queued from here on needs an event of its own, for serve() may not see it.
    void eventArrived() {
        const std::lock_guard lock(lock_);
        pending_ = false;
    }

    std::mutex lock_; // a leaf but for Qt's own queue
    std::unique_ptr<Receiver> receiver_;
    bool pending_ = false;
};

QtMainLoop::QtMainLoop() : waker_(std::make_shared<Waker>()) {
    MainThread::begin([waker = waker_] { waker->wake(); });
}

QtMainLoop::~QtMainLoop() {
    MainThread::end();
    waker_->detach();
}

} // namespace ovelo
