#include "ipcam/CameraRecord.h"

#include <array>
#include <cstddef>

namespace ovelo::cameralist {

namespace {

constexpr std::string_view kBetweenValues = "segsegseg,";
constexpr std::string_view kBetweenRecords = "recrecrec,";
constexpr std::size_t kValues = 4;

/// Takes the text before the first separator off `text`, and the separator; without one, all of it.
std::string_view take(std::optional<std::string_view>& text, std::string_view separator) {
    const std::size_t end = text->find(separator);
    const std::string_view piece = text->substr(0, end);
    if (end == std::string_view::npos) {
        text.reset();
    } else {
        text->remove_prefix(end + separator.size());
    }
    return piece;
}

/// return  nothing when values are missing
std::optional<CameraRecord> parseRecord(std::string_view text, bool& isDamaged) {
    std::optional<std::string_view> rest = text;
    std::array<std::string, kValues> values;
    for (std::string& value : values) {
        if (!rest) {
            isDamaged = true;
            return std::nullopt;
        }
        value = take(rest, kBetweenValues);
    }
    isDamaged = isDamaged || rest.has_value();
    return CameraRecord{values[0], values[1], values[2], values[3]};
}

} // namespace

Parsed parse(std::string_view text) {
    Parsed parsed;
    std::optional<std::string_view> rest = text;
    while (rest) {
        const std::string_view record = take(rest, kBetweenRecords);
        if (record.empty()) {
            continue; // there is nothing in it to be lost
        }
        if (auto camera = parseRecord(record, parsed.isDamaged)) {
            parsed.cameras.push_back(*std::move(camera));
        }
    }
    return parsed;
}

std::string format(const std::vector<CameraRecord>& cameras) {
    std::string text;
    for (const CameraRecord& camera : cameras) {
        if (&camera != &cameras.front()) {
            text += kBetweenRecords;
        }
        text += camera.name;
        for (const std::string& value : {camera.urlString, camera.userId, camera.password}) {
            text += kBetweenValues;
            text += value;
        }
    }
    return text;
}

std::optional<std::string> separatorIn(const CameraRecord& camera) {
    for (const auto& value : {camera.name, camera.urlString, camera.userId, camera.password}) {
        for (const std::string_view separator : {kBetweenValues, kBetweenRecords}) {
            if (value.find(separator) != std::string::npos) {
                return std::string(separator);
            }
        }
    }
    return std::nullopt;
}

} // namespace ovelo::cameralist
