#include "Crowd.h"

#include "Support.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace loadgen {

Crowd::Crowd(const Options& o) : o_(o), viewers_(size_t(o.clients)), seen_(4096) {
    epoll_ = epoll_create1(EPOLL_CLOEXEC);
    if (epoll_ < 0)
        die("epoll_create1: %s", strerror(errno));
    address_.sin_family = AF_INET;
    address_.sin_port = htons(uint16_t(o.port));
    if (inet_pton(AF_INET, o.host.c_str(), &address_.sin_addr) != 1)
        die("--host takes a dotted address");
    for (int i = 0; i < o.clients; i++) {
        Viewer& v = viewers_[size_t(i)];
        v.index = i;
        v.slow = i >= o.clients - o.slow; // the last ones, so that the first viewer is a live one
        v.churn = !v.slow && i >= o.clients - o.slow - o.churn;
    }
}

void Crowd::noteLine(std::string_view text) {
    if (notes_.size() < 8)
        notes_.emplace_back(text.substr(0, 160));
}

void Crowd::watch(Viewer& v, uint32_t events, int op) {
    epoll_event e{};
    e.events = events;
    e.data.u32 = uint32_t(v.index);
    epoll_ctl(epoll_, op, v.fd, &e);
}

void Crowd::open(Viewer& v) {
    v.fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (v.fd < 0)
        die("socket: %s (descriptor limit?)", strerror(errno));
    int on = 1;
    setsockopt(v.fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    int mss = o_.mss;
    if (v.slow && !o_.slowDefaultBuffers) {
        // Loopback's 64 KB segments make the sender's kernel hold megabytes for a viewer that
        // does not read; an Ethernet segment and a small window make it stall within a second.
        int size = 4096;
        setsockopt(v.fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
        if (!mss)
            mss = 1448;
    }
    if (mss)
        setsockopt(v.fd, IPPROTO_TCP, TCP_MAXSEG, &mss, sizeof mss);
    v.connectStart = nowUs();
    v.first = v.last = 0;
    v.begin = v.end = 0;
    v.lastId = -1;
    v.lastHash = 0;
    v.setUp = v.stalled = false;
    v.parse = Parse::Lines;
    if (v.buffer.empty())
        v.buffer.resize(64 * 1024);
    int rc = connect(v.fd, reinterpret_cast<sockaddr*>(&address_), sizeof address_);
    if (rc && errno != EINPROGRESS) {
        refused_++;
        noteLine(std::string("connect: ") + strerror(errno));
        close(v.fd);
        v.fd = -1;
        v.state = State::Closed;
        return;
    }
    v.state = State::Connecting;
    connecting_++;
    watch(v, EPOLLOUT, EPOLL_CTL_ADD);
}

void Crowd::opened(Viewer& v) {
    connecting_--;
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(v.fd, SOL_SOCKET, SO_ERROR, &error, &size);
    if (error) {
        failed_++;
        noteLine(std::string("connect: ") + strerror(error));
        close(v.fd);
        v.fd = -1;
        v.state = State::Closed;
        return;
    }
    connected_++;
    connectTimes_.add(nowUs() - v.connectStart);
    v.state = State::Open;
    watch(v, EPOLLIN, EPOLL_CTL_MOD);
    if (o_.hello)
        send(v, "Hello,\n");
}

void Crowd::send(Viewer& v, std::string_view text) {
    ssize_t n = ::send(v.fd, text.data(), text.size(), MSG_NOSIGNAL);
    if (n != ssize_t(text.size())) {
        protocolErrors_++;
        noteLine("could not send a command line");
    }
}

void Crowd::drop(Viewer& v, const char* why, bool server) {
    if (v.fd < 0)
        return;
    if (server) {
        (v.slow ? dropsSlow_ : dropsLive_)++;
        noteLine(std::string(v.slow ? "slow viewer " : "viewer ") + std::to_string(v.index) + ": " +
                 why);
    }
    if (v.first && streaming_)
        streaming_--;
    close(v.fd);
    v.fd = -1;
    v.state = State::Closed;
}

void Crowd::setUp(Viewer& v, std::string_view source) {
    std::string text;
    if (!v.setUp) {
        if (!o_.sync.empty())
            text = "Sync," + o_.sync + "\n";
        text += "FrameRate," + o_.frameRate + "\n";
        if (o_.audio)
            text += "Audio,1\n";
        v.setUp = true;
    }
    if (!o_.noStart) {
        if (!source.empty())
            text += "Start," + std::string(source) + "\n";
        else
            text += "GetSources,\n";
    }
    send(v, text);
}
void Crowd::onReadable(Viewer& v) {
    size_t room = scratch_.size();
    if (v.stalled)
        room = size_t(std::max(1.0, o_.slowRate / 10)); // one sip per tick
    ssize_t n = recv(v.fd, scratch_.data(), room, 0);
    if (n == 0)
        return drop(v, "closed by the server", true);
    if (n < 0) {
        if (errno != EAGAIN && errno != EINTR)
            drop(v, strerror(errno), true);
        return;
    }
    append(v, scratch_.data(), size_t(n));
    while (v.fd >= 0 && consume(v)) {
    }
    if (v.begin == v.end)
        v.begin = v.end = 0;
}

void Crowd::timers(int64_t now) {
    while (next_ < o_.clients && connecting_ < o_.outstanding)
        open(viewers_[size_t(next_++)]);
    if (o_.rtt > 0 && window_ && now >= rttDue_) {
        Viewer& v = viewers_[0];
        if (v.state == State::Open && !v.asked) {
            v.asked = now;
            send(v, "GetSources,\n");
        }
        rttDue_ = now + int64_t(o_.rtt * 1000);
    }
    if (o_.slowRate > 0 && now >= slowTick_) {
        slowTick_ = now + 100000;
        for (Viewer& v : viewers_)
            if (v.stalled && v.state == State::Open)
                onReadable(v);
    }
    if (o_.churn && now >= churnTick_) {
        churnTick_ = now + 10000;
        for (Viewer& v : viewers_)
            if (v.churn && v.state == State::Idle && v.comeBack && v.comeBack <= now)
                open(v);
    }
}

void Crowd::pump(int64_t until) {
    epoll_event events[512];
    while (!isInterrupted()) {
        int64_t now = nowUs();
        timers(now);
        now = nowUs();
        if (now >= until)
            return;
        int64_t wait = std::min<int64_t>(until - now, 20000);
        timespec t{wait / 1000000, wait % 1000000 * 1000};
        int n = epoll_pwait2(epoll_, events, 512, &t, nullptr);
        for (int i = 0; i < n; i++) {
            Viewer& v = viewers_[events[i].data.u32];
            if (v.fd < 0)
                continue;
            if (v.state == State::Connecting) {
                opened(v);
                continue;
            }
            if (v.stalled) {
                if (events[i].events & (EPOLLERR | EPOLLHUP))
                    drop(v, "reset by the server", true);
                continue;
            }
            onReadable(v);
        }
    }
}

bool Crowd::run() {
    int64_t start = nowUs(), deadline = start + int64_t(o_.warmup * 1e6);
    auto served = [&] { return streaming_ + uint64_t(o_.churn) >= uint64_t(o_.clients); };
    while (!isInterrupted() && nowUs() < deadline &&
           !(next_ == o_.clients && !connecting_ && served()))
        pump(nowUs() + 10000);
    pump(nowUs() + int64_t(o_.settle * 1e6));

    auto sample = [&] {
        ProcessSample s;
        for (pid_t pid : o_.pids)
            addProcess(pid, s);
        return s;
    };
    ProcessSample before = sample();
    MachineSample machineBefore = machineNow();
    double selfBefore = double(clockUs(CLOCK_PROCESS_CPUTIME_ID));
    window_ = true;
    int64_t from = nowUs();
    rttDue_ = from;
    pump(from + int64_t(o_.seconds * 1e6));
    window_ = false;
    int64_t to = nowUs();
    for (Viewer& v : viewers_) // a viewer left without pictures must show in the gaps
        if (!v.slow && !v.churn && v.last && v.state == State::Open && to - v.last > v.worstGap) {
            v.worstGap = to - v.last;
            if (to - v.last > 1000000)
                gaps_.add(to - v.last);
        }
    double self = double(clockUs(CLOCK_PROCESS_CPUTIME_ID)) - selfBefore;
    ProcessSample after = sample();
    MachineSample machineAfter = machineNow();
    report(to - from, before, after, machineBefore, machineAfter, self);
    for (Viewer& v : viewers_)
        if (v.fd >= 0)
            close(v.fd);
    return !o_.clients || (frames_ > 0 && !broken_ && !protocolErrors_);
}

} // namespace loadgen
