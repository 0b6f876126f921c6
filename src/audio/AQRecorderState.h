#pragma once

#include "platform/AudioQueue.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

namespace ovelo {

class AudioSink;

/// What a capture consists of; the queue's callback works on it.
struct AQRecorderState {
    AudioStreamDescription mDataFormat; // requested, then completed by the queue
    std::unique_ptr<AudioQueue> mQueue;
    std::array<AudioQueueBuffer*, 10> mBuffers{}; // lent by the queue
    void* mAudioFile = nullptr;                   // never opened
    std::uint32_t bufferByteSize = 0;
    std::uint64_t mCurrentPacket = 0;
    std::atomic<bool> mIsRunning = false; // buffers go round only while it is true
    float duration = 0;                   // seconds of sound a buffer
    AudioSink* network = nullptr;         // for the callback; not owned
};

} // namespace ovelo
