#pragma once

#include "Histogram.h"
#include "Options.h"
#include "ProcessSample.h"

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace loadgen {

enum class State { Idle, Connecting, Open, Closed };
enum class Parse { Lines, Payload };

struct Viewer {
    int fd = -1, index = 0;
    State state = State::Idle;
    Parse parse = Parse::Lines;
    bool slow = false, churn = false, stalled = false, setUp = false;
    std::vector<uint8_t> buffer;
    size_t begin = 0, end = 0;
    size_t need = 0; // payload bytes
    bool isAudio = false;
    int64_t connectStart = 0, last = 0, first = 0, comeBack = 0, asked = 0;
    uint64_t lastHash = 0;
    int64_t lastId = -1;
    // within the window
    uint64_t frames = 0, bytes = 0;
    int64_t worstGap = 0;
};

struct Seen {
    uint64_t hash = 0;
    int64_t first = 0, stamp = -1;
};

/// Any number of viewers on one thread, which read and check every picture.
class Crowd {
public:
    explicit Crowd(const Options& o);

    /// Opens the viewers, measures for the window asked for and reports.
    ///
    /// return  true when pictures came and all were whole
    bool run();

private:
    // connections
    void open(Viewer& v);
    void opened(Viewer& v);
    void drop(Viewer& v, const char* why, bool server);
    void send(Viewer& v, std::string_view text);
    void watch(Viewer& v, uint32_t events, int op);
    void pump(int64_t until);
    void onReadable(Viewer& v);
    void timers(int64_t now);
    // protocols
    bool consume(Viewer& v);
    void line(Viewer& v, std::string_view text);
    bool header(Viewer& v, std::string_view text);
    void append(Viewer& v, const uint8_t* data, size_t n);
    void frame(Viewer& v, const uint8_t* data, size_t n);
    void setUp(Viewer& v, std::string_view source);
    void noteLine(std::string_view text);
    void report(int64_t windowUs, const ProcessSample& a, const ProcessSample& b,
                const MachineSample& ma, const MachineSample& mb, double selfUs);

    const Options& o_;
    std::vector<Viewer> viewers_;
    std::vector<Seen> seen_;
    int epoll_ = -1;
    sockaddr_in address_{};
    int connecting_ = 0, next_ = 0;
    int64_t rttDue_ = 0, slowTick_ = 0, churnTick_ = 0;
    bool window_ = false, staticPicture_ = false, dumped_ = false;
    // totals, whole run
    uint64_t connected_ = 0, failed_ = 0, refused_ = 0, protocolErrors_ = 0, dropsLive_ = 0,
             dropsSlow_ = 0, churns_ = 0;
    uint64_t streaming_ = 0;
    // totals, window
    uint64_t frames_ = 0, framesSlow_ = 0, bytes_ = 0, broken_ = 0, idSkips_ = 0, idBack_ = 0,
             audio_ = 0, audioBytes_ = 0;
    uint64_t stampsMissing_ = 0, otherLines_ = 0;
    Histogram gaps_, connectTimes_, firstTimes_, spread_, latency_, rtt_;
    std::vector<std::string> notes_;
    std::vector<uint8_t> scratch_ = std::vector<uint8_t>(256 * 1024);
};

} // namespace loadgen
