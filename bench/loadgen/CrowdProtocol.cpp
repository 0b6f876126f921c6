#include "Crowd.h"
#include "PictureStamp.h"
#include "Support.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace loadgen {

namespace {

constexpr size_t kLargest = 16 << 20;

} // namespace

void Crowd::line(Viewer& v, std::string_view text) {
    if (text == "CONNECTED,PASS") {
        if (o_.password.empty())
            die("the server asks for a password: --password");
        send(v, "Password," + o_.password + "\n");
    } else if (text == "CONNECTED" || text == "AUTH_OK") {
        setUp(v, o_.source);
    } else if (text == "AUTH_FALLED") {
        die("the server refuses the password");
    } else if (text.starts_with("DATA_SOURCE")) {
        if (v.asked) {
            if (window_)
                rtt_.add(nowUs() - v.asked);
            v.asked = 0;
            return;
        }
        // DATA_SOURCE|name|id|v|selected|...: start with the selected (else the first) of each kind
        std::vector<std::string_view> f;
        for (size_t at = 0; at <= text.size();) {
            size_t bar = std::min(text.find('|', at), text.size());
            f.push_back(text.substr(at, bar - at));
            at = bar + 1;
        }
        std::string_view video, sound;
        bool videoChosen = false, soundChosen = false;
        for (size_t i = 1; i + 3 < f.size(); i += 4) {
            auto take = [&](std::string_view& name, bool& chosen) {
                if (name.empty() || (f[i + 3] == "1" && !chosen)) {
                    name = f[i];
                    chosen = f[i + 3] == "1";
                }
            };
            if (f[i + 2] == "v")
                take(video, videoChosen);
            if (f[i + 2] == "a")
                take(sound, soundChosen);
        }
        setUp(v, std::string(video) + "|" + std::string(sound));
    } else if (!text.starts_with("VERSION,")) {
        otherLines_++;
        if (o_.verbose)
            noteLine(text);
    }
}

// "Frame,id,length,stamp,report" or "Audio,..."
bool Crowd::header(Viewer& v, std::string_view text) {
    char copy[96];
    if (text.size() >= sizeof copy)
        return false;
    memcpy(copy, text.data(), text.size());
    copy[text.size()] = 0;
    unsigned long id = 0, stamp = 0;
    long length = -1;
    int report = 0, used = 0;
    if (sscanf(copy + 5, ",%lu,%ld,%lu,%d%n", &id, &length, &stamp, &report, &used) != 4 ||
        copy[5 + used] != 0)
        return false;
    if (length < 0 || size_t(length) > kLargest)
        return false;
    v.isAudio = copy[0] == 'A';
    v.need = size_t(length);
    if (!v.isAudio) {
        if (v.lastId >= 0 && window_) {
            if (int64_t(id) <= v.lastId)
                idBack_++;
            else
                idSkips_ += uint64_t(int64_t(id) - v.lastId - 1);
        }
        v.lastId = int64_t(id);
    }
    return true;
}

void Crowd::frame(Viewer& v, const uint8_t* data, size_t n) {
    int64_t now = nowUs();
    bool good =
        n >= 4 && data[0] == 0xff && data[1] == 0xd8 && data[n - 2] == 0xff && data[n - 1] == 0xd9;
    if (!dumped_ && good && !o_.dump.empty()) {
        dumped_ = true;
        if (FILE* f = fopen(o_.dump.c_str(), "wb")) {
            fwrite(data, 1, n, f);
            fclose(f);
        }
    }
    if (!v.first) {
        v.first = now;
        streaming_++;
        firstTimes_.add(now - v.connectStart);
        if (v.slow) {
            v.stalled = true;
            watch(v, 0, EPOLL_CTL_MOD);
        }
        if (v.churn) {
            churns_++;
            drop(v, "", false);
            v.state = State::Idle;
            v.comeBack = now + 100000;
            return;
        }
    }
    uint64_t hash = n * 0x9e3779b97f4a7c15u;
    size_t words = n / 8;
    for (size_t i = 0; i < words; i++) {
        uint64_t w;
        memcpy(&w, data + i * 8, 8);
        hash = (hash ^ w) * 0xff51afd7ed558ccdu;
        hash ^= hash >> 32;
    }
    for (size_t i = words * 8; i < n; i++)
        hash = (hash ^ data[i]) * 0xff51afd7ed558ccdu;
    hash ^= hash >> 29;
    if (hash == v.lastHash)
        staticPicture_ = true;
    v.lastHash = hash;
    Seen& seen = seen_[hash % seen_.size()];
    bool fresh = seen.hash != hash;
    if (fresh)
        seen = Seen{hash, now, o_.latency ? readStamp(data, n) : -1};
    if (window_) {
        frames_++;
        bytes_ += n;
        v.frames++;
        v.bytes += n;
        if (!good)
            broken_++;
        if (v.slow) {
            framesSlow_++;
        } else {
            if (v.last) {
                gaps_.add(now - v.last);
                v.worstGap = std::max(v.worstGap, now - v.last);
            }
            if (!fresh)
                spread_.add(now - seen.first);
            if (o_.latency) {
                if (seen.stamp < 0)
                    stampsMissing_++;
                else
                    latency_.add(int64_t((uint64_t(wallUs()) - uint64_t(seen.stamp)) & kStampMask));
            }
        }
    }
    v.last = now;
}

// Takes one unit out of the viewer's buffer; false when more bytes are needed.
bool Crowd::consume(Viewer& v) {
    const uint8_t* p = v.buffer.data() + v.begin;
    size_t n = v.end - v.begin;
    auto protocolError = [&](const char* why) {
        protocolErrors_++;
        drop(v, why, true);
        return false;
    };
    switch (v.parse) {
    case Parse::Lines: {
        const void* at = memchr(p, '\n', n);
        if (!at)
            return n > 4096 ? protocolError("line too long") : false;
        size_t length = size_t(static_cast<const uint8_t*>(at) - p);
        std::string_view text(reinterpret_cast<const char*>(p), length);
        v.begin += length + 1;
        if (text.starts_with("Frame,") || text.starts_with("Audio,")) {
            if (!header(v, text))
                return protocolError("bad header line");
            v.parse = Parse::Payload;
        } else {
            line(v, text);
        }
        return v.fd >= 0;
    }
    case Parse::Payload:
        if (n < v.need)
            return false;
        v.begin += v.need;
        v.parse = Parse::Lines;
        if (v.isAudio) {
            if (window_) {
                audio_++;
                audioBytes_ += v.need;
            }
        } else {
            frame(v, p, v.need);
        }
        return v.fd >= 0;
    }
    return false;
}

void Crowd::append(Viewer& v, const uint8_t* data, size_t n) {
    if (v.buffer.size() - v.end < n) {
        if (v.begin) {
            memmove(v.buffer.data(), v.buffer.data() + v.begin, v.end - v.begin);
            v.end -= v.begin;
            v.begin = 0;
        }
        if (v.buffer.size() - v.end < n)
            v.buffer.resize(std::max(v.buffer.size() * 2, v.end + n));
    }
    memcpy(v.buffer.data() + v.end, data, n);
    v.end += n;
}

} // namespace loadgen
