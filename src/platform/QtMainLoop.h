#pragma once

#include <memory>

namespace ovelo {

/// Serves MainThread's calls from Qt's event loop, as long as it lives.
///
/// Make one on the main thread after the QCoreApplication; at its end nobody waits for the main
/// thread any more. Other threads may call MainThread at any moment of that life, its end included.
class QtMainLoop {
public:
    QtMainLoop();
    ~QtMainLoop();
    QtMainLoop(const QtMainLoop&) = delete;
    QtMainLoop& operator=(const QtMainLoop&) = delete;

private:
    class Waker;

    std::shared_ptr<Waker> waker_; // shared with wakes that are under way on other threads
};

} // namespace ovelo
