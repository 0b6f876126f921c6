#include "platform/GstRuntime.h"

#include <gst/gst.h>

#include <cstdio>
#include <mutex>

namespace ovelo {

namespace {

void initialise() {
    GError* error = nullptr;
    if (gst_init_check(nullptr, nullptr, &error) == FALSE) {
        // Everything that is built later fails with a text of its own.
        std::fprintf(stderr, "GStreamer cannot be used: %s\n", error ? error->message : "?");
        g_clear_error(&error);
    }
}

} // namespace

void GstRuntime::begin() {
    static std::once_flag once;
    std::call_once(once, initialise);
}

} // namespace ovelo
