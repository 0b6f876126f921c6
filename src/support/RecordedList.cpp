#include "support/RecordedList.h"

#include "platform/CHandle.h"
#include "platform/Utf8.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <optional>
#include <string_view>

namespace ovelo {

namespace {

constexpr std::string_view kExtension = ".mov";

bool isRecordingName(std::string_view name) {
    constexpr unsigned char kFirstPrintable = 0x20;
    constexpr unsigned char kDelete = 0x7f;
    const bool isPrintable = std::none_of(name.begin(), name.end(), [](char letter) {
        const auto byte = static_cast<unsigned char>(letter);
        return byte < kFirstPrintable || byte == kDelete;
    });
    // A name that is nothing but an extension has none.
    return isPrintable && isUtf8(name) && name.size() > kExtension.size() &&
           name.ends_with(kExtension);
}

std::optional<std::time_t> creationDate(int folder, const char* name) {
    struct statx facts {};
    if (::statx(folder, name, 0, STATX_TYPE | STATX_BTIME | STATX_MTIME, &facts) != 0 ||
        S_ISDIR(facts.stx_mode)) {
        return std::nullopt;
    }
    const bool hasBirth = (facts.stx_mask & STATX_BTIME) != 0;
    return hasBirth ? facts.stx_btime.tv_sec : facts.stx_mtime.tv_sec;
}

void appendDate(std::string& text, std::time_t moment) {
    std::tm local{};
    ::localtime_r(&moment, &local);
    std::array<char, 32> digits{};
    text.append(digits.data(), std::strftime(digits.data(), digits.size(), "%Y%m%d%H%M%S", &local));
}

} // namespace

std::string recordedListLine(const std::filesystem::path& folder) {
    std::string line = "RECORDED_LIST";
    const CHandle<DIR, &::closedir> listing(folder.empty() ? nullptr : ::opendir(folder.c_str()));
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
        if (!isRecordingName(entry->d_name)) {
            continue;
        }
        const auto date = creationDate(::dirfd(listing.get()), entry->d_name);
        if (date) {
            line.append(",-").append(entry->d_name).append("-");
            appendDate(line, *date);
        }
    }
    return line + '\n';
}

} // namespace ovelo
