#pragma once

#include "platform/Clock.h"
#include "platform/PropertyList.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace ovelo {

/// Small helpers that many places share. Any thread.
class MyUtil {
public:
    MyUtil() = delete;

    /// The current time in whole seconds since 1970, as 32 bits.
    static std::int32_t getTimeStamp(const Clock& clock);

    /// Seconds since `start`, negative when the clock was set back.
    static float getElapsedSeconds(const TimeValue& start, const Clock& clock);

    /// True for a text of at least 3 characters with an "@" in it. // sic
    static bool valideEmailAddress(std::string_view address);

    /// True when an account's e-mail counts as given: more than 3 characters.
    static bool isAccountEmail(std::string_view address);

    /// Now in local time, as in "20240131235959".
    static std::string getDTString(const Clock& clock);

    /// "CFBundleVersion" of the application's properties (Contents/Info.plist of the resources);
    /// empty when they do not say.
    static std::string getBundleVersion(const PropertyList& properties);

    /// The recordings folder, created when missing; empty when there is no documents folder.
    static std::filesystem::path getRecordedDirectory();
};

} // namespace ovelo
