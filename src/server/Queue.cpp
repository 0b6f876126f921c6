#include "server/Queue.h"

#include <memory>
#include <utility>

namespace ovelo {

namespace {

void release(Queue::QueueNode* node) {
    while (node != nullptr) {
        const std::unique_ptr<Queue::QueueNode> owned(node);
        node = node->next;
    }
}

} // namespace

Queue::~Queue() {
    release(head_);
    release(spare_);
}

Queue::QueueNode* Queue::freshNode() {
    if (spare_ == nullptr) {
        return std::make_unique<QueueNode>().release();
    }
    QueueNode* node = std::exchange(spare_, spare_->next);
    node->next = nullptr;
    return node;
}

void Queue::add(Frame frame) {
    QueueNode* node = freshNode();
    node->data = std::move(frame);
    node->next = head_;
    if (head_ == nullptr) {
        tail_ = node;
    } else {
        head_->prev = node;
    }
    head_ = node;
    ++count_;
}

std::optional<Frame> Queue::get() {
    if (tail_ == nullptr) {
        return std::nullopt;
    }
    QueueNode* node = tail_;
    tail_ = node->prev;
    if (tail_ == nullptr) {
        head_ = nullptr;
    } else {
        tail_->next = nullptr;
    }
    --count_;
    std::optional<Frame> frame = std::exchange(node->data, std::nullopt);
    node->prev = nullptr;
    node->next = std::exchange(spare_, node);
    return frame;
}

} // namespace ovelo
