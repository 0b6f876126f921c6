#include "support/MyUtil.h"

#include "platform/Folders.h"

#include <fmt/format.h>

#include <ctime>
#include <system_error>

namespace ovelo {

namespace {

double seconds(const TimeValue& moment) {
    constexpr double kMicrosecondsInASecond = 1000000;
    return static_cast<double>(moment.seconds) + moment.microseconds / kMicrosecondsInASecond;
}

/// Characters, not bytes, of UTF-8 text.
std::size_t length(std::string_view text) {
    std::size_t count = 0;
    for (const char byte : text) {
        count += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U ? 1 : 0;
    }
    return count;
}

} // namespace

std::int32_t MyUtil::getTimeStamp(const Clock& clock) {
    return static_cast<std::int32_t>(clock.timeOfDay().seconds);
}

float MyUtil::getElapsedSeconds(const TimeValue& start, const Clock& clock) {
    return static_cast<float>(seconds(clock.timeOfDay()) - seconds(start));
}

bool MyUtil::valideEmailAddress(std::string_view address) {
    constexpr std::size_t kShortest = 3;
    return length(address) >= kShortest && address.find('@') != std::string_view::npos;
}

bool MyUtil::isAccountEmail(std::string_view address) {
    constexpr std::size_t kTooShort = 3;
    return length(address) > kTooShort;
}

std::string MyUtil::getDTString(const Clock& clock) {
    constexpr int kFirstYear = 1900;
    const std::time_t now = clock.timeOfDay().seconds;
    std::tm local{};
    ::localtime_r(&now, &local);
    return fmt::format("{:04}{:02}{:02}{:02}{:02}{:02}", local.tm_year + kFirstYear,
                       local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

std::string MyUtil::getBundleVersion(const PropertyList& properties) {
    const auto found = properties.find("CFBundleVersion");
    return found == properties.end() ? std::string() : found->second;
}

std::filesystem::path MyUtil::getRecordedDirectory() {
    const std::filesystem::path documents = folders::documents();
    if (documents.empty()) {
        return {};
    }
    std::filesystem::path folder = documents / "Ovelo";
    std::error_code failure; // a folder that cannot be made is told by whoever opens it
    std::filesystem::create_directory(folder, failure);
    return folder;
}

} // namespace ovelo
