#include "platform/GstDisposal.h"

#include "platform/GstVideoRun.h"

#include <chrono>
#include <utility>

namespace ovelo {

GstDisposal::GstDisposal() = default;

GstDisposal::~GstDisposal() {
    constexpr std::chrono::milliseconds kPatience{100};
    for (const auto& run : runs_) {
        // Again and again, for one may have come before there was anything to interrupt.
        while (!run->waitUntilEnded(kPatience)) {
            run->interrupt();
        }
    }
}

void GstDisposal::take(std::unique_ptr<GstVideoRun> run) {
    std::erase_if(runs_, [](const auto& old) {
        return old->waitUntilEnded(std::chrono::milliseconds::zero());
    });
    run->interrupt();
    runs_.push_back(std::move(run));
}

} // namespace ovelo
