#pragma once

#include "platform/Clock.h"
#include "platform/PictureFile.h"

#include <chrono>
#include <filesystem>

namespace ovelo {

class CameraPictures;
class HttpClient;
class Logger;
class Settings;

struct IPCamTiming {
    std::chrono::milliseconds wait = std::chrono::seconds(1); // between two looks of a grabber

    // With "ipcamReconnect".
    std::chrono::milliseconds silence = std::chrono::seconds(10);   // no byte: the stream is lost
    std::chrono::milliseconds noPicture = std::chrono::seconds(60); // bytes, but nothing whole
    std::chrono::milliseconds firstPause = std::chrono::seconds(2);
    std::chrono::milliseconds longestPause = std::chrono::seconds(60);
};

/// What the cameras work with; all of it outlives them.
struct IPCamEnvironment {
    HttpClient& http;
    const Settings& settings; // "ipcamReconnect"
    Logger& log;
    CameraPictures& pictures;
    std::filesystem::path pictureFile = picturefile::kPath;
    const Clock& clock = Clock::system();
    IPCamTiming timing = {};
};

} // namespace ovelo
