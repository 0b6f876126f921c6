#include "Camera.h"

#include "JpegLuma.h"
#include "PictureStamp.h"
#include "Support.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <vector>

namespace loadgen {

namespace {

void paint(std::vector<uint8_t>& rgb, uint32_t frame, int detail) {
    // A slow gradient under fine noise: compresses like an ordinary room in poor light.
    uint32_t seed = frame * 2654435761u + 1;
    for (int y = 0; y < kHeight; y++)
        for (int x = 0; x < kWidth; x++) {
            seed = seed * 1664525u + 1013904223u;
            int noise = int(seed >> 24) * detail / 1000 - detail / 8;
            uint8_t* p = &rgb[size_t((y * kWidth + x) * 3)];
            int base = 96 + 48 * ((x / 40 + y / 40 + int(frame / 20)) & 1);
            p[0] = uint8_t(std::clamp(base + x / 8 + noise, 0, 255));
            p[1] = uint8_t(std::clamp(base + y / 8 + noise, 0, 255));
            p[2] = uint8_t(std::clamp(base + noise, 0, 255));
        }
}
} // namespace

int feedRaw(const Options& o) {
    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(o.port));
    inet_pton(AF_INET, o.host.c_str(), &address.sin_addr);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) ||
        listen(listener, 16))
        die("cannot listen on %s:%d: %s", o.host.c_str(), o.port, strerror(errno));
    // A taker gets whole pictures only: while it is still taking one, newer ones pass it by.
    struct Taker {
        int fd;
        std::vector<uint8_t> rest;
        size_t sent;
    };
    std::vector<Taker> takers;
    auto push = [](Taker& t) { // false: the taker is gone
        while (t.sent < t.rest.size()) {
            ssize_t n = send(t.fd, t.rest.data() + t.sent, t.rest.size() - t.sent,
                             MSG_NOSIGNAL | MSG_DONTWAIT);
            if (n < 0)
                return errno == EAGAIN || errno == EINTR;
            t.sent += size_t(n);
        }
        t.rest.clear();
        t.sent = 0;
        return true;
    };
    std::vector<std::vector<uint8_t>> pictures(16, std::vector<uint8_t>(kWidth * kHeight * 3));
    for (uint32_t i = 0; i < pictures.size(); i++)
        paint(pictures[i], i * 7, o.detail);
    int64_t start = nowUs(), period = int64_t(1e6 / o.fps), due = start;
    uint64_t frames = 0, late = 0, passed = 0;
    std::vector<pollfd> polls;
    while (!isInterrupted() && nowUs() - start < int64_t(o.seconds * 1e6)) {
        int64_t wait = due - nowUs();
        if (wait <= 0) {
            if (wait < -period) {
                late++;
                due = nowUs();
            }
            due += period;
            auto& picture = pictures[frames++ % pictures.size()];
            paintStamp(picture, uint64_t(wallUs()));
            for (Taker& t : takers) {
                if (t.rest.empty())
                    t.rest = picture;
                else
                    passed++;
            }
        }
        polls.assign(1, pollfd{listener, POLLIN, 0});
        for (size_t i = 0; i < takers.size();) {
            if (!push(takers[i])) {
                close(takers[i].fd);
                takers.erase(takers.begin() + long(i));
                continue;
            }
            polls.push_back(pollfd{takers[i].fd, short(takers[i].rest.empty() ? 0 : POLLOUT), 0});
            i++;
        }
        wait = std::max<int64_t>(0, due - nowUs());
        timespec t{wait / 1000000, wait % 1000000 * 1000};
        if (ppoll(polls.data(), polls.size(), &t, nullptr) <= 0)
            continue;
        for (size_t i = takers.size(); i-- > 0;)
            if (polls[i + 1].revents & (POLLERR | POLLHUP)) {
                close(takers[i].fd);
                takers.erase(takers.begin() + long(i));
            }
        if (polls[0].revents & POLLIN) {
            int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) {
                setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
                takers.push_back(Taker{fd, {}, 0});
            }
        }
    }
    printf("fed %" PRIu64 " pictures, %" PRIu64 " times late, %" PRIu64 " passed by slow takers\n",
           frames, late, passed);
    return 0;
}

} // namespace loadgen
