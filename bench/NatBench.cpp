// What a STUN message, a line and a picture cost on the way through the NAT.

#include "nat/LineQueue.h"
#include "nat/UdpStream.h"
#include "nat/stun.h"
#include "platform/MemorySettings.h"
#include "support/Logger.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace {

using namespace ovelo;

void encodeRequest(benchmark::State& state) {
    StunMessage request;
    stunBuildReqSimple(&request, {}, false, false, 1);
    std::array<std::uint8_t, STUN_MAX_MESSAGE_SIZE> buffer{};
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(stunEncodeMessage(request, buffer, {}, false));
    }
}
BENCHMARK(encodeRequest);

void parseResponse(benchmark::State& state) {
    StunMessage response;
    response.msgHdr.msgType = 0x0101;
    response.hasMappedAddress = response.hasSourceAddress = response.hasChangedAddress = true;
    response.hasServerName = true;
    response.serverName.sizeValue = 8;
    std::vector<std::uint8_t> bytes(STUN_MAX_MESSAGE_SIZE);
    bytes.resize(stunEncodeMessage(response, bytes, {}, false));
    StunMessage msg;
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(stunParseMessage(bytes, msg, false));
    }
}
BENCHMARK(parseResponse);

void takeLine(benchmark::State& state) {
    constexpr std::string_view kDatagram = "UDPUDPUDPUDPHEADERFrameRate 14\nTRAILER";
    const MemorySettings settings;
    Logger log("/nowhere/ovelo.log", settings);
    LineQueue queue(log);
    std::string line;
    for ([[maybe_unused]] auto round : state) {
        std::copy(kDatagram.begin(), kDatagram.end(), queue.room().begin());
        queue.noteReceived(kDatagram.size());
        LineQueue::Search search;
        benchmark::DoNotOptimize(queue.takeLine(line, search));
    }
}
BENCHMARK(takeLine);

/// A picture of 10 000 bytes to a peer on this computer that does not read.
void writePicture(benchmark::State& state) {
    const MemorySettings settings;
    Logger log("/nowhere/ovelo.log", settings);
    UdpStream peer(log);
    UdpStream stream(
        log, {std::chrono::seconds(1), std::chrono::milliseconds(1), std::chrono::milliseconds(5)});
    if (!peer.StartServer(0)) {
        state.SkipWithError("no socket");
        return;
    }
    [[maybe_unused]] const bool isAnswered = stream.StartP2P(0, "127.0.0.1", peer.localPort());
    const std::vector<std::uint8_t> picture(10000, 'x');
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(stream.writeData(picture));
    }
}
BENCHMARK(writePicture);

} // namespace

BENCHMARK_MAIN();
