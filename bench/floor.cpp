// The floor: the least that a server of the same pictures can do, as a measure for Ovelo on the
// same machine.
//
//   floor PORT FEED_PORT [BACKLOG] one thread, one picture in flight and one waiting per viewer, no
//   log, no settings floor --encoding FEED_PORT     prints the microseconds of CPU that encoding
//   one of the camera's pictures takes

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <time.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kQuality = 40;
constexpr std::string_view kGreeting = "CONNECTED\nVERSION,1.000000,Low,0,0,0\n";
constexpr std::string_view kSources = "DATA_SOURCE|Cam A|x|v|1|Mic|y|a|1\n";

using Picture = std::shared_ptr<const std::vector<std::uint8_t>>;

[[noreturn]] void die(const char* what) {
    perror(what);
    exit(1);
}

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int listenOn(int port, int backlog) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in address = loopback(port);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(fd, backlog) != 0) {
        die("listen");
    }
    return fd;
}

int dial(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        die("connect");
    }
    return fd;
}

class Encoder {
public:
    Encoder() = default;
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;
    ~Encoder() {
        tjFree(out_);
        tjDestroy(handle_);
    }

    Picture encode(const std::vector<std::uint8_t>& pixels, TJPF format) {
        if (tjCompress2(handle_, pixels.data(), kWidth, 0, kHeight, format, &out_, &size_,
                        TJSAMP_420, kQuality, TJFLAG_FASTDCT) != 0) {
            fprintf(stderr, "encode: %s\n", tjGetErrorStr2(handle_));
            exit(1);
        }
        return std::make_shared<const std::vector<std::uint8_t>>(out_, out_ + size_);
    }

private:
    tjhandle handle_ = tjInitCompress();
    unsigned char* out_ = nullptr;
    unsigned long size_ = 0;
};

struct Viewer {
    int fd = -1;
    bool started = false;
    bool waitsForRoom = false;
    std::uint32_t id = 0;
    std::size_t sent = 0; // of head and picture together
    std::string head, nextHead;
    Picture picture, next;
};

class Floor {
public:
    Floor(int port, int feedPort, int backlog)
        : listener_(listenOn(port, backlog))
        , feed_(dial(feedPort)) {
        add(listener_);
        add(feed_);
    }

    void run() {
        epoll_event events[256];
        for (;;) {
            const int count = epoll_wait(epoll_, events, 256, -1);
            for (int i = 0; i < count; i++) {
                const int fd = events[i].data.fd;
                if (fd == listener_) {
                    accept();
                } else if (fd == feed_) {
                    if (!takePixels()) {
                        return;
                    }
                } else if (!serve(fd, events[i].events)) {
                    close(fd);
                    viewers_.erase(fd);
                }
            }
        }
    }

private:
    void add(int fd) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = fd;
        epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event);
    }

    void wait(Viewer& viewer, bool forRoom) {
        if (viewer.waitsForRoom == forRoom) {
            return;
        }
        viewer.waitsForRoom = forRoom;
        epoll_event event{};
        event.events = forRoom ? EPOLLIN | EPOLLOUT : EPOLLIN;
        event.data.fd = viewer.fd;
        epoll_ctl(epoll_, EPOLL_CTL_MOD, viewer.fd, &event);
    }

    void accept() {
        for (;;) {
            const int fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
            if (fd < 0) {
                return;
            }
            const int on = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            say(fd, kGreeting);
            auto viewer = std::make_unique<Viewer>();
            viewer->fd = fd;
            viewers_[fd] = std::move(viewer);
            add(fd);
        }
    }

    // The few bytes of a line always find room before the first picture.
    static void say(int fd, std::string_view text) {
        if (send(fd, text.data(), text.size(), MSG_NOSIGNAL) < 0) {
            perror("send");
        }
    }

    // false: the camera is gone
    bool takePixels() {
        const ssize_t count = read(feed_, pixels_.data() + got_, pixels_.size() - got_);
        if (count <= 0) {
            return false;
        }
        got_ += static_cast<std::size_t>(count);
        if (got_ == pixels_.size()) {
            got_ = 0;
            if (!viewers_.empty()) {
                fanOut(encoder_.encode(pixels_, TJPF_RGB));
            }
        }
        return true;
    }

    void fanOut(const Picture& picture) {
        std::vector<int> gone;
        for (auto& [fd, viewer] : viewers_) {
            if (!viewer->started) {
                continue;
            }
            char head[96];
            const int length = snprintf(head, sizeof head, "Frame,%u,%zu,%u,0\n", viewer->id++,
                                        picture->size(), static_cast<unsigned>(time(nullptr)));
            viewer->nextHead.assign(head, static_cast<std::size_t>(length));
            viewer->next = picture;
            if (!viewer->waitsForRoom && !flush(*viewer)) {
                gone.push_back(fd);
            }
        }
        for (const int fd : gone) {
            close(fd);
            viewers_.erase(fd);
        }
    }

    // false: the viewer is gone
    bool flush(Viewer& viewer) {
        for (;;) {
            if (!viewer.picture) {
                if (!viewer.next) {
                    wait(viewer, false);
                    return true;
                }
                viewer.picture = std::move(viewer.next);
                viewer.head = std::move(viewer.nextHead);
                viewer.sent = 0;
            }
            const ssize_t count = writeRest(viewer);
            if (count < 0) {
                wait(viewer, errno == EAGAIN);
                return errno == EAGAIN;
            }
            viewer.sent += static_cast<std::size_t>(count);
            if (viewer.sent == viewer.head.size() + viewer.picture->size()) {
                viewer.picture.reset();
            }
        }
    }

    static ssize_t writeRest(const Viewer& viewer) {
        const std::size_t inHead = std::min(viewer.sent, viewer.head.size());
        const std::size_t inPicture = viewer.sent - inHead;
        iovec parts[2] = {
            {const_cast<char*>(viewer.head.data()) + inHead, viewer.head.size() - inHead},
            {const_cast<std::uint8_t*>(viewer.picture->data()) + inPicture,
             viewer.picture->size() - inPicture}};
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = 2;
        return sendmsg(viewer.fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    }

    // false: the viewer is gone
    bool serve(int fd, std::uint32_t events) {
        const auto found = viewers_.find(fd);
        if (found == viewers_.end()) {
            return true;
        }
        Viewer& viewer = *found->second;
        if ((events & EPOLLOUT) != 0 && !flush(viewer)) {
            return false;
        }
        if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) == 0) {
            return true;
        }
        char bytes[4096];
        const ssize_t count = recv(fd, bytes, sizeof bytes, 0);
        if (count <= 0) {
            return count < 0 && errno == EAGAIN;
        }
        const std::string_view text(bytes, static_cast<std::size_t>(count));
        if (text.find("GetSources,") != std::string_view::npos && !viewer.picture) {
            say(fd, kSources);
        }
        viewer.started = viewer.started || text.find("Start,") != std::string_view::npos;
        return true;
    }

    int epoll_ = epoll_create1(EPOLL_CLOEXEC);
    int listener_, feed_;
    std::map<int, std::unique_ptr<Viewer>> viewers_;
    std::vector<std::uint8_t> pixels_ = std::vector<std::uint8_t>(kWidth * kHeight * 3);
    std::size_t got_ = 0;
    Encoder encoder_;
};

double cpuUs() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

// The best of many batches, because everything else on the machine can only add to it.
void timeEncoding(int feedPort) {
    const int feed = dial(feedPort);
    std::vector<std::uint8_t> rgb(kWidth * kHeight * 3);
    for (std::size_t got = 0; got < rgb.size();) {
        const ssize_t count = read(feed, rgb.data() + got, rgb.size() - got);
        if (count <= 0) {
            die("read");
        }
        got += static_cast<std::size_t>(count);
    }
    // As the application has it: four bytes a pixel.
    std::vector<std::uint8_t> rgba(kWidth * kHeight * 4, 255);
    for (std::size_t i = 0; i < rgb.size() / 3; i++) {
        memcpy(&rgba[i * 4], &rgb[i * 3], 3);
    }
    constexpr int kBatches = 50;
    constexpr int kBatch = 40;
    Encoder encoder;
    double best = 1e9;
    for (int batch = 0; batch < kBatches; batch++) {
        const double before = cpuUs();
        for (int i = 0; i < kBatch; i++) {
            encoder.encode(rgba, TJPF_RGBA);
        }
        best = std::min(best, (cpuUs() - before) / kBatch);
    }
    printf("%.2f\n", best);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        fputs("floor PORT FEED_PORT [BACKLOG] | floor --encoding FEED_PORT\n", stderr);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    if (std::string_view(argv[1]) == "--encoding") {
        timeEncoding(atoi(argv[2]));
        return 0;
    }
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    Floor(atoi(argv[1]), atoi(argv[2]), argc == 4 ? atoi(argv[3]) : 512).run();
    return 0;
}
