#include "app/DataSourceRequest.h"

namespace ovelo {

std::optional<DataSourceRequest> DataSourceRequest::parse(std::string_view text) {
    const std::size_t first = text.find('|');
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(first + 1);
    return DataSourceRequest{std::string(text.substr(0, first)),
                             std::string(rest.substr(0, rest.find('|')))};
}

} // namespace ovelo
