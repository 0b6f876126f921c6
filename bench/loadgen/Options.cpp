#include "Options.h"

#include "Support.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string_view>

namespace loadgen {

namespace {

void usage() {
    fputs(
        "loadgen [--password PW] [--source NAME] [options]          viewers\n"
        "loadgen --feed-raw --port P --fps F --seconds S   be the camera: raw RGB 320x240 to "
        "whoever connects\n"
        "  --host A --port P      server, default 127.0.0.1:1726\n"
        "  --clients N            viewers (1); 0: only watch the processes given with --pid\n"
        "  --seconds S            measured window (10, at most 600)\n"
        "  --warmup S             longest wait for every viewer's first picture (10)\n"
        "  --settle S             pause between first pictures and window (1; with --slow 5)\n"
        "  --outstanding N        connections being opened at any one time (32)\n"
        "  --pid P                measure this process (repeat or comma-separate: summed)\n"
        "  --slow K               K of the viewers stop reading after their first picture\n"
        "  --slow-rate B          ... or go on at B bytes a second each\n"
        "  --slow-default-buffers give slow viewers no small window (the kernel then buffers "
        "megabytes)\n"
        "  --churn K              K of the viewers leave after their first picture and come again\n"
        "  --mss N                TCP segment size asked for by all viewers (1448 is like "
        "Ethernet)\n"
        "  --sync V --rate V      arguments of Sync (empty: not sent) and FrameRate (0 and 1)\n"
        "  --audio                also ask for sound      --no-start  do not send Start\n"
        "  --hello                send a line at once, before the greeting\n"
        "  --rtt MS               one viewer asks GetSources every MS; its answer times are "
        "reported\n"
        "  --latency              read the feeder's bar code: time from camera to viewer\n"
        "  --detail N             feeder: noise amplitude, which sets the JPEG's size (260: about "
        "10 KB)\n"
        "  --dump FILE            keep the first picture       --json FILE  append one JSON line\n"
        "  --label TEXT           name of the run              --verbose\n",
        stderr);
}

template <typename Number>
void readNumber(const char* text, Number& value) {
    const auto [end, error] = std::from_chars(text, text + strlen(text), value);
    if (error != std::errc{} || *end != 0) {
        die("%s: not a number", text);
    }
}

void readPids(const char* text, std::vector<pid_t>& pids) {
    const std::string_view all(text);
    for (std::size_t at = 0; at < all.size();) {
        const std::size_t comma = std::min(all.find(',', at), all.size());
        pid_t pid = 0;
        readNumber(std::string(all.substr(at, comma - at)).c_str(), pid);
        pids.push_back(pid);
        at = comma + 1;
    }
}

void check(const Options& o) {
    if (o.clients < 0 || o.clients > 20000) {
        die("--clients must be 0 to 20000");
    }
    if (o.seconds <= 0 || o.seconds > 600) {
        die("--seconds must be above 0 and at most 600");
    }
    if (o.slow < 0 || o.churn < 0 || o.slow + o.churn > o.clients) {
        die("more slow and churning viewers than viewers");
    }
    if (o.fps <= 0 || o.fps > 1000) {
        die("--fps must be above 0 and at most 1000");
    }
    if (o.port <= 0 || o.port > 65535) {
        die("--port must be 1 to 65535");
    }
}

} // namespace

Options parseOptions(int argc, char** argv) {
    Options o;
    const std::map<std::string_view, bool*> flags = {
        {"--feed-raw", &o.feed},
        {"--audio", &o.audio},
        {"--no-start", &o.noStart},
        {"--hello", &o.hello},
        {"--latency", &o.latency},
        {"--verbose", &o.verbose},
        {"--slow-default-buffers", &o.slowDefaultBuffers}};
    const std::map<std::string_view, std::string*> texts = {
        {"--host", &o.host},   {"--password", &o.password}, {"--source", &o.source},
        {"--label", &o.label}, {"--json", &o.json},         {"--dump", &o.dump},
        {"--sync", &o.sync},   {"--rate", &o.frameRate}};
    const std::map<std::string_view, int*> counts = {{"--port", &o.port},
                                                     {"--clients", &o.clients},
                                                     {"--slow", &o.slow},
                                                     {"--churn", &o.churn},
                                                     {"--mss", &o.mss},
                                                     {"--detail", &o.detail},
                                                     {"--outstanding", &o.outstanding}};
    const std::map<std::string_view, double*> amounts = {
        {"--seconds", &o.seconds}, {"--warmup", &o.warmup},      {"--settle", &o.settle},
        {"--fps", &o.fps},         {"--slow-rate", &o.slowRate}, {"--rtt", &o.rtt}};
    for (int i = 1; i < argc; i++) {
        const std::string_view name = argv[i];
        if (const auto flag = flags.find(name); flag != flags.end()) {
            *flag->second = true;
            continue;
        }
        if (name == "--help" || name == "-h" || i + 1 >= argc) {
            usage();
            exit(name == "--help" || name == "-h" ? 0 : 2);
        }
        const char* value = argv[++i];
        if (const auto text = texts.find(name); text != texts.end()) {
            *text->second = value;
        } else if (const auto count = counts.find(name); count != counts.end()) {
            readNumber(value, *count->second);
        } else if (const auto amount = amounts.find(name); amount != amounts.end()) {
            readNumber(value, *amount->second);
        } else if (name == "--pid") {
            readPids(value, o.pids);
        } else {
            usage();
            die("unknown option %s", argv[i - 1]);
        }
    }
    if (o.settle < 0) {
        o.settle = o.slow ? 5 : 1;
    }
    check(o);
    return o;
}

} // namespace loadgen
