#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace ovelo {

/// What an operation says on standard error.
inline std::string consoleText(const std::function<void()>& operation) {
    ::testing::internal::CaptureStderr();
    operation();
    return ::testing::internal::GetCapturedStderr();
}

} // namespace ovelo
