#include "viewer/RecordingList.h"

#include "viewer/Fields.h"

#include <algorithm>

namespace ovelo {

namespace {

constexpr std::string_view kPrefix = "RECORDED_LIST";
constexpr std::string_view kEntryStart = ",-";
constexpr std::string_view kNameEnd = ".mov-";
constexpr std::size_t kDateLength = 14;

bool within(std::string_view digits, int lowest, int highest) {
    const auto value = fields::number<int>(digits);
    return value && *value >= lowest && *value <= highest;
}

/// Year, month, day, hour, minute and second; a leap second is one.
bool isDate(std::string_view text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return text.size() == kDateLength && std::all_of(text.begin(), text.end(), isDigit) &&
           within(text.substr(4, 2), 1, 12) && within(text.substr(6, 2), 1, 31) &&
           within(text.substr(8, 2), 0, 23) && within(text.substr(10, 2), 0, 59) &&
           within(text.substr(12, 2), 0, 60);
}

/// Takes one entry from the front of `rest`.
std::optional<Recording> takeEntry(std::string_view& rest) {
    if (!rest.starts_with(kEntryStart)) {
        return std::nullopt;
    }
    const std::string_view text = rest.substr(kEntryStart.size());
    for (auto end = text.find(kNameEnd); end != std::string_view::npos;
         end = text.find(kNameEnd, end + 1)) {
        const auto date = text.substr(end + kNameEnd.size(), kDateLength);
        const auto behind = text.substr(std::min(end + kNameEnd.size() + kDateLength, text.size()));
        if (isDate(date) && (behind.empty() || behind.starts_with(kEntryStart))) {
            rest = behind;
            return Recording{std::string(text.substr(0, end + kNameEnd.size() - 1)),
                             std::string(date)};
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<RecordingList> RecordingList::parse(std::string_view line) {
    if (line != kPrefix && !line.starts_with("RECORDED_LIST,")) {
        return std::nullopt;
    }
    RecordingList list;
    std::string_view rest = line.substr(kPrefix.size());
    while (auto entry = takeEntry(rest)) {
        list.recordings.push_back(std::move(*entry));
    }
    return list;
}

} // namespace ovelo
