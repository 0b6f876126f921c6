// The reply to a match request: who is named as a peer.

#include "nat/rendezvous.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string reply(reinterpret_cast<const char*>(data), size);
    const auto peers = ovelo::rendezvous::peersOfMatchReply(reply);
    if (!peers) {
        return 0;
    }
    if (peers->empty() || reply.find("OK") == std::string::npos) {
        std::abort();
    }
    for (const auto& peer : *peers) {
        if (peer.nat_type() != ovelo::MapAddr::kPeer || !peer.srcAddr().empty()) {
            std::abort();
        }
    }
    return 0;
}
