#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <stop_token>
#include <vector>

namespace ovelo {

class Socket;

/// Accepted connections on their way to sessions of their own.
///
/// The listener's backlog is short, and the system loses whoever finds it full. So the thread that
/// accepts does nothing else, and who makes the sessions waits for the end of a rush.
///
/// thread  add() and release() on the accepting thread, take() on the welcoming one
class Arrivals {
public:
    /// Keeps a connection for the next release().
    void add(std::unique_ptr<Socket> client);

    /// Lets take() have what has been added.
    void release();

    /// Waits for connections that were released. return: none when it was asked to stop
    [[nodiscard]] std::vector<std::unique_ptr<Socket>> take(const std::stop_token& stop);

private:
    std::vector<std::unique_ptr<Socket>> arrived_; // of the accepting thread

    std::mutex lock_; // a leaf
    std::condition_variable_any changed_;
    std::vector<std::unique_ptr<Socket>> released_; // guarded by lock_
};

} // namespace ovelo
