#include "platform/GstDisposal.h"

#include "platform/GstVideoRun.h"

#include <chrono>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 500ms; // for all of them together
constexpr auto kTurn = 50ms;

} // namespace

GstDisposal::GstDisposal() = default;

GstDisposal::~GstDisposal() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (const auto& run : runs_) {
        // Again and again, for one may have come before there was anything to interrupt.
        while (!run->waitUntilEnded(kTurn) && std::chrono::steady_clock::now() < deadline) {
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
