#include "viewer/ServerFinder.h"

#include <condition_variable>
#include <mutex>
#include <utility>

namespace ovelo {

namespace {

constexpr const char* kServiceType = "_lumenwatch._tcp";

/// The servers that have answered so far.
struct Answers {
    std::mutex lock;
    std::condition_variable_any changed;
    std::vector<FoundService> services;

    void add(const FoundService& service) {
        {
            const std::lock_guard guard(lock);
            services.push_back(service);
        }
        changed.notify_all();
    }
};

} // namespace

ServerFinder::ServerFinder(Browse browse, Limits limits)
    : browse_(std::move(browse))
    , limits_(limits) {
}

Result<std::vector<FoundService>> ServerFinder::find(const std::stop_token& stop) const {
    Answers answers;
    // Behind the answers: its end is the end of what adds to them.
    const auto browser =
        browse_(kServiceType, [&answers](const FoundService& service) { answers.add(service); });
    if (!browser) {
        return Failure{
            "the local network cannot be searched: no Avahi daemon runs on this computer"};
    }
    std::unique_lock lock(answers.lock);
    answers.changed.wait_for(lock, stop, limits_.first, [&] { return !answers.services.empty(); });
    if (!answers.services.empty()) {
        answers.changed.wait_for(lock, stop, limits_.others, [] { return false; });
    }
    return answers.services;
}

} // namespace ovelo
