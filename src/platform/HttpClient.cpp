#include "platform/HttpClient.h"

#include <strings.h>

namespace ovelo {

std::string HttpResponse::header(std::string_view name) const {
    std::string value;
    bool isFirst = true;
    for (const HttpHeader& header : headers) {
        if (header.name.size() == name.size() &&
            ::strncasecmp(header.name.data(), name.data(), name.size()) == 0) {
            value += (isFirst ? "" : ", ") + header.value;
            isFirst = false;
        }
    }
    return value;
}

} // namespace ovelo
