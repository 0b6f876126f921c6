// Every byte that a viewer may send, through the line reader into the commands.

#include "platform/Console.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "server/CommandInterpreter.h"
#include "server/CommandSession.h"
#include "server/LineBuffer.h"
#include "server/ViewerDocument.h"
#include "support/Logger.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace ovelo;

class Session final : public CommandSession {
public:
    std::string getPassword() override { return "pw"; }
    void writeString(const std::string& text, int /*connection_type*/) override {
        if (text != "AUTH_OK\n" && text != "AUTH_FALLED\n" && text != "DATA_SOURCE\n") {
            std::abort();
        }
    }
    void sendVersion() override {}
    void setAuthenticated(int /*connection_type*/) override {}
    void setStarted(int /*connection_type*/, bool /*started*/) override {}
    void setFrameRateWait(float /*seconds*/) override {}
    void setFrameDelay(float /*seconds*/) override {}
};

class Document final : public ViewerDocument {
public:
    std::string getDataSource() override { return "DATA_SOURCE\n"; }
    void setDataSource(const std::string& /*source*/) override {}
    void stopPlayback() override {}
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
