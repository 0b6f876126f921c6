// Every byte that a viewer may send, through the line reader into the commands.

#include "platform/Console.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "server/CommandInterpreter.h"
#include "server/CommandSession.h"
#include "server/LineBuffer.h"
#include "server/ViewerDocument.h"
#include "support/Logger.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace ovelo;

class Session final : public CommandSession {
public:
    std::string getPassword() override { return "pw"; }
    void writeString(const std::string& text, int /*connection_type*/) override {
        constexpr std::array<std::string_view, 5> kAnswers = {
            "AUTH_OK\n", "AUTH_FALLED\n", "DATA_SOURCE\n", "RECORDED_LIST\n", "CONFIG_AUDIO\n"};
        if (std::find(kAnswers.begin(), kAnswers.end(), text) == kAnswers.end()) {
            std::abort();
        }
    }
    void sendVersion() override {}
    void setAuthenticated(int /*connection_type*/) override {}
    void setStarted(int /*connection_type*/, bool /*started*/) override {}
    void setFrameRateWait(float /*seconds*/) override {}
    void setEnableSound(bool /*enabled*/) override {}
    void setFrameDelay(float /*seconds*/) override {}
};

class Document final : public ViewerDocument {
public:
    std::string getDataSource() override { return "DATA_SOURCE\n"; }
    void setDataSource(const std::string& /*source*/) override {}
    std::string getRecordedList() override { return "RECORDED_LIST\n"; }
    void setStartRecording(bool /*start*/) override {}
    void startPlayback(const std::string& /*name*/) override {}
    void stopPlayback() override {}
    std::string getAudioParameters() override { return "CONFIG_AUDIO\n"; }
    void setAudioFormat(int format) override {
        if (format != 0 && format != 1) {
            std::abort();
        }
    }
    void rotateLeft() override {}
    void rotateRight() override {}
    void clientDisconnected() override {}
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    console::silence(); // it shows each line
    MainThread::begin();
    MemorySettings settings;
    Logger log("/nowhere/ovelo.log", settings);
    Session session;
    Document document;
    CommandInterpreter interpreter(session, document, settings, log);
    LineBuffer buffer;
    buffer.bytes().assign(data, data + size);
    std::string line;
    for (auto result = buffer.next(line); result != LineBuffer::Result::None;
         result = buffer.next(line)) {
        if (result == LineBuffer::Result::Line) {
            interpreter.prccessLine(line, static_cast<int>(size % 2));
        }
    }
    MainThread::end(); // drops the settings' notices before the settings die
    return 0;
}
