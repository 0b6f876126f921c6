// The source choice that a viewer sends.

#include "app/DataSourceRequest.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto request = ovelo::DataSourceRequest::parse(text);
    const bool hasTwoFields = text.find('|') != std::string_view::npos;
    if (request.has_value() != hasTwoFields) {
        std::abort();
    }
    if (request && !text.starts_with(request->videoName + "|" + request->audioName)) {
        std::abort();
    }
    return 0;
}
