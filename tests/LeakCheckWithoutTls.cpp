// The leak check of a sanitized build crashes in thread-local storage of libraries that GStreamer has loaded and
// dropped again; in this program it leaves that storage out.

extern "C" const char* __lsan_default_options();

extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0:use_tls=0";
}
