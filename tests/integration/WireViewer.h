#pragma once

#include "fakes/Peer.h"

#include <QImage>

#include <optional>
#include <string>

namespace ovelo {

/// A viewer that knows just enough of the protocol to look at pictures, and decodes them with Qt.
class WireViewer {
public:
    /// Connects and asks for pictures at once and as often as there are any. The server must have
    /// no password.
    explicit WireViewer(std::uint16_t port) : peer_(port) {
        greeting = peer_.line().value_or("") + "\n";
        greeting += peer_.line().value_or("");
        peer_.send("Sync,0.000025\nFrameRate,100\n");
    }

    Peer& peer() { return peer_; }

    /// The bytes of the next picture; empty when none comes.
    std::string nextJpeg(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        while (const auto line = peer_.line(limit)) {
            if (line->starts_with("Frame,")) {
                header = *line;
                const std::size_t second = line->find(',', 6);
                return peer_.bytes(std::stoul(line->substr(second + 1)), limit);
            }
            lastLine = *line;
        }
        return "";
    }

    QImage nextPicture(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        const std::string jpeg = nextJpeg(limit);
        return QImage::fromData(reinterpret_cast<const uchar*>(jpeg.data()),
                                static_cast<int>(jpeg.size()), "JPG")
            .convertToFormat(QImage::Format_RGB32);
    }

    /// A picture made after everything sent so far was carried out.
    QImage pictureAfter(const std::string& commands) {
        peer_.send(commands + "GetSources,\n");
        lastLine.clear();
        while (!lastLine.starts_with("DATA_SOURCE")) {
            if (nextJpeg().empty()) {
                return {};
            }
        }
        nextJpeg(); // may have been on its way
        return nextPicture();
    }

    std::string greeting;
    std::string header;
    std::string lastLine;

private:
    Peer peer_;
};

} // namespace ovelo
