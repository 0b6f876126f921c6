// Any datagram at the port of the NAT discovery.

#include "nat/stun.h"
#include "platform/Console.h"

#include <array>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace ovelo;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool isTerminated(const StunAtrString& text) {
    return text.sizeValue < STUN_MAX_STRING && text.sizeValue % 4 == 0 &&
           text.value[text.sizeValue] == '\0';
}

void checkBounds(const StunMessage& msg) {
    require(isTerminated(msg.username) && isTerminated(msg.password) &&
            isTerminated(msg.serverName));
    require(msg.errorCode.sizeReason <= StunAtrError::kMostReason);
    require(msg.errorCode.reason[msg.errorCode.sizeReason] == '\0');
    require(msg.unknownAttributes.numAttributes <= msg.unknownAttributes.attrType.size());
}

/// What was understood can be encoded, and understood again unless the encoder's own oddities are
/// in it.
void checkRoundTrip(const StunMessage& msg) {
    std::array<std::uint8_t, STUN_MAX_MESSAGE_SIZE> buffer{};
    const std::size_t size = stunEncodeMessage(msg, buffer, {}, false);
    StunMessage again;
    const bool isUnderstood = stunParseMessage(std::span(buffer).first(size), again, false);
    if (msg.hasErrorCode || msg.hasUnknownAttributes || msg.xorOnly) {
        return;
    }
    require(isUnderstood);
    require(again.mappedAddress.ipv4 == msg.mappedAddress.ipv4);
    require(again.changeRequest.value == msg.changeRequest.value);
    require(again.username.text() == msg.username.text());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    console::silence();
    StunMessage msg;
    const bool isUnderstood = stunParseMessage({data, size}, msg, true);
    checkBounds(msg);
    if (isUnderstood) {
        checkRoundTrip(msg);
    }
    return 0;
}
