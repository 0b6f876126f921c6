#pragma once

#include "platform/AudioSystem.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// What the queues and the hardware of a FakeAudioSystem were asked, in order; and what they answer.
struct FakeAudioRecord {
    using Calls = std::vector<std::string>;

    std::mutex lock; // buffers come back on other threads
    Calls calls;
    std::string failing;     // the operation that fails ...
    AudioStatus failure = 0; // ... with this
    AudioLevelMeter level;
    AudioQueue::InputHandler handler;                       // of the newest queue
    AudioQueue* queue = nullptr;                            // the newest one
    std::vector<std::unique_ptr<AudioQueueBuffer>> buffers; // outlive their queues
    std::vector<AudioQueueBuffer*> enqueued;

    AudioStatus note(const std::string& call) {
        const std::lock_guard guard(lock);
        calls.push_back(call);
        return call == failing ? failure : 0;
    }
    [[nodiscard]] std::size_t count(const std::string& call) {
        const std::lock_guard guard(lock);
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), call));
    }
};

/// An audio queue whose buffers are filled by the test.
class FakeAudioQueue final : public AudioQueue {
public:
    FakeAudioQueue(FakeAudioRecord& record, AudioStreamDescription format)
        : record_(record)
        , format_(format) {}

    AudioStatus addRunningListener(std::function<void()> listener) override {
        listener();
        return record_.note("listen");
    }
    AudioStatus readStreamDescription(AudioStreamDescription& format) override {
        format = format_;
        return record_.note("describe");
    }
    AudioStatus allocateBuffer(std::uint32_t bytes, AudioQueueBuffer*& buffer) override {
        const AudioStatus status = record_.note("allocate");
        if (status == 0) {
            record_.buffers.push_back(std::make_unique<AudioQueueBuffer>());
            buffer = record_.buffers.back().get();
            buffer->capacity = bytes;
        }
        return status;
    }
    AudioStatus enqueueBuffer(AudioQueueBuffer& buffer) override {
        const AudioStatus status = record_.note("enqueue");
        const std::lock_guard guard(record_.lock);
        record_.enqueued.push_back(&buffer);
        return status;
    }
    AudioStatus setLevelMetering(bool isOn) override {
        return record_.note(isOn ? "meter on" : "meter off");
    }
    AudioStatus readLevelMeter(std::span<AudioLevelMeter> levels) override {
        levels.front() = record_.level;
        return record_.note("read meter");
    }
    AudioStatus start() override { return record_.note("start"); }
    AudioStatus flush() override { return record_.note("flush"); }
    AudioStatus stop() override { return record_.note("stop"); }
    AudioStatus dispose() override { return record_.note("dispose"); }

private:
    FakeAudioRecord& record_;
    const AudioStreamDescription format_;
};

/// Sound hardware that is a list of names.
class FakeAudioSystem final : public AudioSystem {
public:
    AudioStatus newInput(const AudioStreamDescription& format, AudioQueue::InputHandler handler,
                         std::unique_ptr<AudioQueue>& queue) override {
        requested = format;
        queue.reset();
        record.queue = nullptr;
        const AudioStatus status = record.note("new");
        if (status == 0) {
            queue = std::make_unique<FakeAudioQueue>(record, completed.value_or(format));
            record.queue = queue.get();
            record.handler = std::move(handler);
        }
        return status;
    }
    AudioStatus readDeviceCount(std::size_t& count) override {
        count = names.size();
        return record.note("count");
    }
    AudioStatus readDevices(std::vector<DeviceId>& devices) override {
        for (DeviceId id = 0; id < names.size(); ++id) {
            devices.push_back(id);
        }
        return record.note("devices");
    }
    AudioStatus readInputNameSize(DeviceId device, std::size_t& size) override {
        size = names[device].size();
        return record.note("name size");
    }
    AudioStatus readInputName(DeviceId device, std::string& name) override {
        name = names[device];
        return record.note("name");
    }
    AudioStatus setDefaultInput(DeviceId device) override {
        defaultInput = names[device];
        return record.note("default");
    }

    FakeAudioRecord record;
    std::vector<std::string> names;
    std::string defaultInput;
    AudioStreamDescription requested;
    std::optional<AudioStreamDescription> completed; // what queues make of a format
};

} // namespace ovelo
