// Whatever reaches the UDP port, in datagrams of any size: what the reader takes for lines.

#include "nat/LineQueue.h"
#include "platform/MemorySettings.h"
#include "support/Logger.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace {

using ovelo::LineQueue;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// Plain and slow: the same without remembering what was searched.
class Model {
public:
    bool takeLine(std::string& line, int& state) {
        if (state == 0) {
            const auto at = text().find("HEADER");
            if (at == std::string::npos) {
                return false;
            }
            bytes.erase(0, at);
            state = 1;
        }
        if (state == 1) {
            const auto at = text().find('\n');
            if (at == std::string::npos) {
                return false;
            }
            bytes.erase(at, 1);
            state = 2;
        }
        const auto at = text().find("TRAILER");
        if (at == std::string::npos) {
            return false;
        }
        line = bytes.substr(0, at).substr(std::min<std::size_t>(6, at));
        bytes.erase(0, at + 7);
        return true;
    }

    [[nodiscard]] std::string text() const { return bytes.c_str(); }

    std::string bytes;
};

class Reader {
public:
    explicit Reader(ovelo::Logger& log) : queue_(log) {}

    void receive(std::span<const std::uint8_t> datagram) {
        if (queue_.resetOverflow(search_)) {
            model_.bytes.erase(0, model_.bytes.size() - 100);
        }
        const auto room = queue_.room();
        require(!room.empty());
        const auto taken = datagram.first(std::min(room.size(), datagram.size()));
        std::copy(taken.begin(), taken.end(), room.begin());
        queue_.noteReceived(taken.size());
        model_.bytes.append(taken.begin(), taken.end());
        takeLines();
    }

private:
    void takeLines() {
        for (;;) {
            std::string line;
            std::string expected;
            const bool isTaken = queue_.takeLine(line, search_);
            require(model_.takeLine(expected, modelState_) == isTaken);
            require(line == expected && queue_.size() == model_.bytes.size());
            if (!isTaken) {
                return;
            }
            search_ = {};
            modelState_ = 0;
        }
    }

    LineQueue queue_;
    LineQueue::Search search_;
    Model model_;
    int modelState_ = 0;
};

} // namespace

/// Each datagram begins with two bytes of its size; one that is longer than what is left is
/// repeated, so that a small input can fill the queue.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ovelo::MemorySettings settings;
    ovelo::Logger log("/nowhere/ovelo.log", settings);
    Reader reader(log);
    std::span<const std::uint8_t> rest(data, size);
    while (rest.size() > 2) {
        const std::size_t wanted = (rest[0] * 256U + rest[1]) % 4096U;
        rest = rest.subspan(2);
        std::vector<std::uint8_t> datagram(
            rest.begin(),
            rest.begin() + static_cast<std::ptrdiff_t>(std::min(wanted, rest.size())));
        while (!datagram.empty() && datagram.size() < wanted) {
            datagram.push_back(datagram[datagram.size() % rest.size()]);
        }
        rest = rest.subspan(std::min(wanted, rest.size()));
        reader.receive(datagram);
    }
    return 0;
}
