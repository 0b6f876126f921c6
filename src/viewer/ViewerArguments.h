#pragma once

#include "platform/Result.h"
#include "viewer/ViewerClient.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// What the user asked of ovelo-viewer.
struct ViewerArguments {
    bool help = false;
    bool version = false;
    bool text = false;
    std::optional<std::filesystem::path> save;
    std::optional<unsigned> frames;
    std::optional<std::filesystem::path> saveSound;
    double seconds = 10; // of sound that is saved
    bool listRecordings = false;
    bool record = false;             // while we are connected
    std::optional<std::string> play; // the name of a recording
    std::optional<std::string> password;
    double delay = 0;                // seconds
    std::optional<double> frameRate; // pictures a second
    std::optional<std::string> source;
    std::vector<std::string> send; // raw lines
    std::optional<std::chrono::milliseconds> givenTimeout;
    std::chrono::milliseconds timeout{10000};
    std::optional<std::uint16_t> udpPort;          // our own; over UDP
    DatagramGatherer::PictureCheck isWholePicture; // not of the command line
    std::string host;                              // "": look for one on the local network
    std::uint16_t port = kViewerPort;

    /// Works without a window.
    [[nodiscard]] bool isTextual() const {
        return text || save || saveSound || listRecordings || record || play;
    }

    [[nodiscard]] ViewerOptions connection() const;

    /// Reads the command line without the program's name.
    ///
    /// errors  a text for the user, without the program's name
    static Result<ViewerArguments> parse(const std::vector<std::string>& words);

    static const char* usage();
};

/// Reads "host" or "host:port" into `arguments`.
///
/// return  false when it is neither
bool parseAddress(const std::string& text, std::string& host, std::uint16_t& port);

} // namespace ovelo
