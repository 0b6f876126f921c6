#include "platform/GstDisposal.h"

#include "platform/GstVideoRun.h"

#include <utility>

namespace ovelo {

GstDisposal::GstDisposal() = default;
GstDisposal::~GstDisposal() = default;

void GstDisposal::take(std::unique_ptr<GstVideoRun> run) {
    std::erase_if(runs_, [](const auto& old) {
        return old->waitUntilEnded(std::chrono::milliseconds::zero());
    });
    run->interrupt();
    runs_.push_back(std::move(run));
}

} // namespace ovelo
