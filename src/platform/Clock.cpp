#include "platform/Clock.h"

#include <sys/time.h>

namespace ovelo {

namespace {

class SystemClock final : public Clock {
public:
    TimeValue timeOfDay() const override {
        timeval now{};
        ::gettimeofday(&now, nullptr);
        return {now.tv_sec, static_cast<std::int32_t>(now.tv_usec)};
    }
    Steady steady() const override { return std::chrono::steady_clock::now(); }
};

} // namespace

const Clock& Clock::system() {
    static const SystemClock clock;
    return clock;
}

} // namespace ovelo
