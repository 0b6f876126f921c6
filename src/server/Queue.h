#pragma once

#include "server/Frame.h"

#include <cstdint>
#include <optional>

namespace ovelo {

/// First in, first out: frames enter at the head and leave at the tail.
///
/// Nodes that are given up are used again, so that a queue of steady length allocates nothing.
///
/// thread  one at a time
class Queue {
public:
    /// A frame and its neighbours; `next` leads to the tail.
    struct QueueNode {
        std::optional<Frame> data; // empty in a spare node
        QueueNode* prev = nullptr;
        QueueNode* next = nullptr;
    };

    Queue() = default;
    ~Queue();
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    void add(Frame frame);

    /// The oldest frame, or null; it stays.
    [[nodiscard]] const Frame* peek() const { return tail_ == nullptr ? nullptr : &*tail_->data; }

    /// Takes the oldest frame out.
    std::optional<Frame> get();

    [[nodiscard]] std::uint32_t count() const { return count_; }
    void setCount(std::uint32_t count) { count_ = count; }

private:
    QueueNode* freshNode();

    QueueNode* head_ = nullptr;
    QueueNode* tail_ = nullptr;
    std::uint32_t count_ = 0;
    QueueNode* spare_ = nullptr; // linked by `next`
};

} // namespace ovelo
