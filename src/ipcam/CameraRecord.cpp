#include "ipcam/CameraRecord.h"

#include <cstddef>

namespace ovelo::cameralist {

namespace {

constexpr std::string_view kBetweenValues = "segsegseg,";
constexpr std::string_view kBetweenRecords = "recrecrec,";
constexpr std::size_t kValues = 4;

std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> pieces;
    for (auto end = text.find(separator); end != std::string_view::npos;
         end = text.find(separator)) {
        pieces.push_back(text.substr(0, end));
        text.remove_prefix(end + separator.size());
    }
    pieces.push_back(text);
    return pieces;
}

} // namespace

Parsed parse(std::string_view text) {
    Parsed parsed;
    for (const std::string_view record : split(text, kBetweenRecords)) {
        if (record.empty()) {
            continue; // there is nothing in it to be lost
        }
        const std::vector<std::string_view> values = split(record, kBetweenValues);
        parsed.isDamaged = parsed.isDamaged || values.size() != kValues;
        if (values.size() >= kValues) {
            parsed.cameras.push_back({std::string(values[0]), std::string(values[1]),
                                      std::string(values[2]), std::string(values[3])});
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
