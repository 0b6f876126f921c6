// What a mail server says, in two pieces.

#include "platform/SmtpReplies.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = size == 0 ? 0 : data[0] % size;
    ovelo::SmtpReplies replies;
    for (const std::string_view piece : {bytes.substr(0, cut), bytes.substr(cut)}) {
        replies.append(piece);
        while (const auto reply = replies.next()) {
            const bool goesOn = reply->size() > 3 && (*reply)[3] == '-';
            if (goesOn || reply->find('\n') != std::string::npos) {
                std::abort();
            }
        }
    }
    return 0;
}
