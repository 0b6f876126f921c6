#include "viewer/DataSourceList.h"

#include "viewer/Fields.h"

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

constexpr std::string_view kPrefix = "DATA_SOURCE";

bool isKind(std::string_view field) {
    return field == "v" || field == "a";
}

bool isFlag(std::string_view field) {
    return field == "0" || field == "1";
}

/// The index of the kind field of the entry that begins at `first`. An identifier may hold bars,
/// being an address: the first "v" or "a" that a flag follows ends it.
std::optional<std::size_t> findKind(const std::vector<std::string_view>& fields,
                                    std::size_t first) {
    for (std::size_t i = first + 2; i + 1 < fields.size(); ++i) {
        if (isKind(fields[i]) && isFlag(fields[i + 1])) {
            return i;
        }
    }
    return std::nullopt;
}

std::string joinIdentifier(const std::vector<std::string_view>& fields, std::size_t first,
                           std::size_t end) {
    std::string identifier(fields[first]);
    for (std::size_t i = first + 1; i < end; ++i) {
        identifier.append("|").append(fields[i]);
    }
    return identifier;
}

/// An empty name, which no source bears, leaves the choice as it is.
std::string selectedName(const std::vector<DataSource>& sources) {
    const auto found = std::find_if(sources.begin(), sources.end(),
                                    [](const DataSource& source) { return source.selected; });
    return found == sources.end() ? std::string() : found->name;
}

} // namespace

std::optional<DataSourceList> DataSourceList::parse(std::string_view line) {
    if (line != kPrefix && !line.starts_with("DATA_SOURCE|")) {
        return std::nullopt;
    }
    const auto fields = fields::split(line, '|');
    DataSourceList list;
    std::size_t first = 1;
    while (const auto kind = findKind(fields, first)) {
        auto& entries = fields[*kind] == "v" ? list.video : list.audio;
        entries.push_back({std::string(fields[first]), joinIdentifier(fields, first + 1, *kind),
                           fields[*kind + 1] == "1"});
        first = *kind + 2;
    }
    return list;
}

const DataSource* DataSourceList::findVideo(std::string_view name) const {
    const auto found = std::find_if(video.begin(), video.end(),
                                    [&](const DataSource& source) { return source.name == name; });
    return found == video.end() ? nullptr : &*found;
}

std::string DataSourceList::choice(std::string_view videoName) const {
    return std::string(videoName) + "|" + selectedName(audio);
}

std::string DataSourceList::soundChoice(std::string_view audioName) const {
    return selectedName(video) + "|" + std::string(audioName);
}

} // namespace ovelo
