#pragma once

#include "platform/Result.h"

#include <string>
#include <string_view>

namespace ovelo {

/// What the maker's web site says of the newest version: a text of lines, which end with CR LF, LF
/// or CR.
struct UpdateManifest {
    std::string newest; // dotted numbers, as they stand
    std::string link;   // where it can be downloaded, as it stands: perhaps no web address at all

    /// Line 1 is the newest version. The link is line 3, or line 2 when there is no third one.
    ///
    /// return  a failure for a text that is not UTF-8, or has one line only
    static Result<UpdateManifest> parse(std::string_view text);
};

} // namespace ovelo
