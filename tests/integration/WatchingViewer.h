#pragma once

#include "fakes/Eventually.h"
#include "fakes/Peer.h"

#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {

/// A viewer that reads all the time, on a thread of its own, and keeps what came with the moment
/// when it came.
class WatchingViewer {
public:
    using Clock = std::chrono::steady_clock;
    enum class Kind { Picture, Sound, Text };

    struct Item {
        Kind kind = Kind::Text;
        Clock::time_point when;
        std::uint32_t id = 0; // of pictures and sound
        std::string content;  // JPEG, a message of sound, or a line without its line feed
    };

    /// Connects and says something; unless told otherwise, to get every picture at once.
    explicit WatchingViewer(std::uint16_t port,
                            const std::string& first = "Sync,-0.001\nFrameRate,100\n")
        : peer_(port) {
        peer_.send(first);
        thread_ = std::jthread([this](const std::stop_token& stop) { read(stop); });
    }

    void send(const std::string& text) const { peer_.send(text); }

    /// Goes away as a viewer that is closed does.
    void leave() {
        thread_ = {};
        peer_.close();
    }

    [[nodiscard]] std::vector<Item> items() const {
        const std::lock_guard lock(lock_);
        return items_;
    }
    [[nodiscard]] std::vector<Item> items(Kind kind) const {
        std::vector<Item> found;
        for (const Item& item : items()) {
            if (item.kind == kind) {
                found.push_back(item);
            }
        }
        return found;
    }
    [[nodiscard]] std::size_t count(Kind kind) const {
        const std::lock_guard lock(lock_);
        return static_cast<std::size_t>(std::count_if(
            items_.begin(), items_.end(), [&](const Item& item) { return item.kind == kind; }));
    }
    [[nodiscard]] std::size_t countOfTexts(const std::string& beginning) const {
        const std::lock_guard lock(lock_);
        return static_cast<std::size_t>(
            std::count_if(items_.begin(), items_.end(), [&](const Item& item) {
                return item.kind == Kind::Text && item.content.starts_with(beginning);
            }));
    }

    /// All lines that came, each with a line feed.
    [[nodiscard]] std::string texts() const {
        std::string all;
        for (const Item& item : items(Kind::Text)) {
            all += item.content + "\n";
        }
        return all;
    }

    /// Sends a command and waits for the next line with such a beginning; empty when none comes.
    std::string ask(const std::string& command, const std::string& beginning) {
        const std::size_t before = countOfTexts(beginning);
        peer_.send(command);
        if (!waitForText(beginning, before + 1)) {
            return "";
        }
        std::size_t seen = 0;
        for (const Item& item : items(Kind::Text)) {
            if (item.content.starts_with(beginning) && ++seen > before) {
                return item.content;
            }
        }
        return "";
    }

    /// Waits until everything that was sent has been carried out.
    bool finish() { return !ask("GetSources,\n", "DATA_SOURCE").empty(); }

    bool waitForText(const std::string& beginning, std::size_t many = 1,
                     std::chrono::milliseconds limit = std::chrono::seconds(10)) const {
        return eventually([&] { return countOfTexts(beginning) >= many; }, limit);
    }

    /// Waits for so many more of a kind.
    bool waitForMore(Kind kind, std::size_t many = 1,
                     std::chrono::milliseconds limit = std::chrono::seconds(10)) const {
        const std::size_t wanted = count(kind) + many;
        return eventually([&] { return count(kind) >= wanted; }, limit);
    }

    /// True when nothing of that kind comes for so long.
    [[nodiscard]] bool staysWithout(Kind kind, std::chrono::milliseconds duration) const {
        return !waitForMore(kind, 1, duration);
    }

    /// A picture made after everything sent so far was carried out.
    QImage pictureNow() {
        if (!finish() || !waitForMore(Kind::Picture, 3)) {
            return {};
        }
        return imageOf(items(Kind::Picture).back());
    }

    static QImage imageOf(const Item& item) {
        return QImage::fromData(reinterpret_cast<const uchar*>(item.content.data()),
                                static_cast<int>(item.content.size()), "JPG")
            .convertToFormat(QImage::Format_RGB32);
    }

private:
    static constexpr std::chrono::milliseconds kTurn{20};
    static constexpr std::chrono::seconds kBlockPatience{10};

    void read(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            if (const auto line = peer_.line(kTurn)) {
                take(*line);
            }
        }
    }

    void take(const std::string& line) {
        const bool isPicture = line.starts_with("Frame,");
        if (!isPicture && !line.starts_with("Audio,")) {
            keep({Kind::Text, Clock::now(), 0, line});
            return;
        }
        std::uint32_t id = 0;
        std::size_t length = 0;
        long stamp = 0;
        int report = 1;
        char comma = 0;
        std::istringstream fields(line.substr(line.find(',') + 1));
        fields >> id >> comma >> length >> comma >> stamp >> comma >> report;
        EXPECT_TRUE(fields && fields.eof() && report == 0) << line;
        std::string block = peer_.bytes(length, kBlockPatience);
        EXPECT_EQ(block.size(), length) << line;
        keep({isPicture ? Kind::Picture : Kind::Sound, Clock::now(), id, std::move(block)});
    }

    void keep(Item item) {
        const std::lock_guard lock(lock_);
        items_.push_back(std::move(item));
    }

    Peer peer_;
    mutable std::mutex lock_; // a leaf
    std::vector<Item> items_;
    std::jthread thread_;
};

} // namespace ovelo
