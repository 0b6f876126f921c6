#pragma once

#include "platform/Result.h"

#include <string>
#include <utility>

namespace ovelo {

/// Makes the first of several candidates that can be made. What is in a registry may still fail, for
/// instance when its library is missing.
///
/// make    gives a Result<Made> for a candidate
/// advice  what to do when all fail
/// errors  the advice, and why each of them failed
template <typename Made, typename Candidates, typename Make>
[[nodiscard]] Result<Made> firstThatWorks(const Candidates& candidates, const std::string& advice,
                                          Make make) {
    std::string reasons;
    for (const auto& candidate : candidates) {
        Result<Made> made = make(candidate);
        if (made) {
            return made;
        }
        reasons += (reasons.empty() ? "" : "; ") + made.error();
    }
    return Failure{advice + " (" + reasons + ")"};
}

} // namespace ovelo
