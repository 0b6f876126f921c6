#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>

#include <chrono>
#include <functional>

namespace ovelo {

/// Runs Qt's event loop until `condition` holds; false when the limit is over first.
inline bool runLoopUntil(const std::function<bool()>& condition,
                         std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    const QDeadlineTimer deadline(limit);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

} // namespace ovelo
