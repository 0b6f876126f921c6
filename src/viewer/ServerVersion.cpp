#include "viewer/ServerVersion.h"

#include "viewer/Fields.h"

#include <algorithm>

namespace ovelo {

std::optional<ServerVersion> ServerVersion::parse(std::string_view line) {
    constexpr std::size_t kFieldCount = 6;
    const auto field = fields::split(line, ',');
    if (field.size() < kFieldCount || field[0] != "VERSION") {
        return std::nullopt;
    }
    const auto protocol = fields::number<double>(field[1]);
    const auto isFlag = [](std::string_view text) { return text == "0" || text == "1"; };
    if (!protocol || !std::all_of(field.begin() + 3, field.begin() + kFieldCount, isFlag)) {
        return std::nullopt;
    }
    return ServerVersion{*protocol, field[3] == "1", field[4] == "1", field[5] == "1"};
}

} // namespace ovelo
