#pragma once

namespace ovelo {

/// GStreamer in this process.
class GstRuntime {
public:
    GstRuntime() = delete;

    /// Makes GStreamer ready; at once when it is. The first call takes about 10 ms, or a second
    /// when the computer's plugins are not known yet. It reads the environment.
    ///
    /// thread  any
    static void begin();
};

} // namespace ovelo
