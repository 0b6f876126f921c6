#include "server/Arrivals.h"

#include "server/Socket.h"

#include <iterator>
#include <utility>

namespace ovelo {

void Arrivals::add(std::unique_ptr<Socket> client) {
    arrived_.push_back(std::move(client));
}

void Arrivals::release() {
    {
        const std::lock_guard lock(lock_);
        std::move(arrived_.begin(), arrived_.end(), std::back_inserter(released_));
    }
    arrived_.clear();
    changed_.notify_one();
}

std::vector<std::unique_ptr<Socket>> Arrivals::take(const std::stop_token& stop) {
    std::unique_lock lock(lock_);
    changed_.wait(lock, stop, [this] { return !released_.empty(); });
    return stop.stop_requested() ? std::vector<std::unique_ptr<Socket>>()
                                 : std::exchange(released_, {});
}

} // namespace ovelo
