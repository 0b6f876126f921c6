#pragma once

namespace ovelo {

/// Serves MainThread's calls from Qt's event loop, as long as it lives.
///
/// Make one on the main thread after the QCoreApplication; at its end nobody waits for the main thread any more.
class QtMainLoop {
public:
    QtMainLoop();
    ~QtMainLoop();
    QtMainLoop(const QtMainLoop&) = delete;
    QtMainLoop& operator=(const QtMainLoop&) = delete;
};

} // namespace ovelo
