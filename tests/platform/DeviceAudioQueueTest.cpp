#include "platform/DeviceAudioQueue.h"

#include "fakes/Eventually.h"
#include "fakes/FakeClock.h"
#include "platform/SoundTaps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

/// Makes one packet of each piece of sound: `size` bytes that count on from packet to packet.
class CountingEncoder final : public SoundEncoder {
public:
    explicit CountingEncoder(std::size_t size) : size_(size) {}

    bool encode(std::span<const std::int16_t> /*samples*/, const PacketTaker& take) override {
        std::vector<std::uint8_t> packet(size_);
        for (auto& byte : packet) {
            byte = next_++;
        }
        take(packet);
        return true;
    }

private:
    const std::size_t size_;
    std::uint8_t next_ = 0;
};

/// Gives nothing any more.
class FailedEncoder final : public SoundEncoder {
public:
    bool encode(std::span<const std::int16_t> /*samples*/, const PacketTaker& /*take*/) override {
        return false;
    }
};

/// Takes its time, until it is told to go on.
class WaitingEncoder final : public SoundEncoder {
public:
    struct Control {
        std::atomic<bool> hasBegun = false;
        std::promise<void> goOn;
        std::shared_future<void> mayGoOn = goOn.get_future().share();
    };

    explicit WaitingEncoder(Control& control) : control_(control) {}

    bool encode(std::span<const std::int16_t> /*samples*/, const PacketTaker& /*take*/) override {
        control_.hasBegun = true;
        control_.mayGoOn.wait();
        return true;
    }

private:
    Control& control_;
};

struct Delivered {
    std::vector<std::uint8_t> bytes;
    std::uint32_t packets = 0;
    std::vector<AudioPacketDescription> descriptions;
};

class DeviceAudioQueueTest : public testing::Test {
protected:
    /// format  0 bytes a packet: AAC's way
    void make(std::uint32_t bytesPerPacket, std::size_t encodedSize, bool giveBack = true) {
        make(bytesPerPacket, std::make_unique<CountingEncoder>(encodedSize), giveBack);
    }
    void make(std::uint32_t bytesPerPacket, std::unique_ptr<SoundEncoder> encoder,
              bool giveBack = true) {
        AudioStreamDescription format;
        format.mBytesPerPacket = bytesPerPacket;
        format.mChannelsPerFrame = 1;
        queue = std::make_unique<DeviceAudioQueue>(
            DeviceAudioQueue::Parts{format, std::move(encoder),
                                    [this](CaptureDevice::SoundHandler handler) {
                                        return hasDevice ? taps->add(std::move(handler)) : nullptr;
                                    },
                                    clock},
            [this, giveBack](AudioQueue& from, AudioQueueBuffer& buffer, AudioQueue::TimePoint,
                             std::uint32_t packets,
                             std::span<const AudioPacketDescription> descriptions) {
                {
                    const std::lock_guard guard(lock);
                    delivered.push_back(
                        {buffer.bytes, packets, {descriptions.begin(), descriptions.end()}});
                }
                if (giveBack) {
                    EXPECT_EQ(from.enqueueBuffer(buffer), 0);
                }
            });
    }
    void giveBuffers(int count, std::uint32_t bytes) {
        for (int i = 0; i < count; ++i) {
            AudioQueueBuffer* buffer = nullptr;
            ASSERT_EQ(queue->allocateBuffer(bytes, buffer), 0);
            ASSERT_EQ(queue->enqueueBuffer(*buffer), 0);
        }
    }
    void hearBatch() { taps->deliver({std::vector<std::int16_t>(2048, 8192), {}}); }
    std::size_t count() {
        const std::lock_guard guard(lock);
        return delivered.size();
    }

    FakeClock clock;
    bool hasDevice = true;
    std::shared_ptr<SoundTaps> taps = std::make_shared<SoundTaps>();
    std::mutex lock;
    std::vector<Delivered> delivered;
    std::unique_ptr<DeviceAudioQueue> queue;
};

// hearBatch() may be called more often than the queue's thread comes round: it encodes several
// batches at once then, which makes no difference to the packets of this encoder but their number.

TEST_F(DeviceAudioQueueTest, HandsABufferOverWhenTheNextPacketWouldNotFit) {
    make(0, 300);
    giveBuffers(10, 1000);
    ASSERT_EQ(queue->start(), 0);
    ASSERT_TRUE(eventually([&] {
        hearBatch();
        return count() >= 2;
    }));
    ASSERT_EQ(queue->stop(), 0);

    const Delivered& first = delivered[0];
    EXPECT_EQ(first.packets, 3U);
    ASSERT_EQ(first.descriptions.size(), 3U);
    EXPECT_EQ(first.descriptions[1].mStartOffset, 300);
    EXPECT_EQ(first.descriptions[2].mStartOffset, 600);
    EXPECT_EQ(first.descriptions[2].mDataByteSize, 300U);
    EXPECT_EQ(first.bytes.size(), 900U);
    EXPECT_EQ(queue->losses(), 0U);
    std::vector<std::uint8_t> all = first.bytes;
    all.insert(all.end(), delivered[1].bytes.begin(), delivered[1].bytes.end());
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(all[i], static_cast<std::uint8_t>(i)) << "nothing is missing or twice";
    }
}

TEST_F(DeviceAudioQueueTest, HandsABufferOfSamplesOverWhenItIsFull) {
    make(2, 300);
    giveBuffers(10, 1000);
    ASSERT_EQ(queue->start(), 0);
    ASSERT_TRUE(eventually([&] {
        hearBatch();
        return count() >= 2;
    }));
    ASSERT_EQ(queue->stop(), 0);

    std::vector<std::uint8_t> all;
    for (const auto& buffer : delivered) {
        EXPECT_EQ(buffer.bytes.size(), 1000U);
        EXPECT_EQ(buffer.packets, 500U);
        EXPECT_TRUE(buffer.descriptions.empty());
        all.insert(all.end(), buffer.bytes.begin(), buffer.bytes.end());
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(all[i], static_cast<std::uint8_t>(i));
    }
}

TEST_F(DeviceAudioQueueTest, LosesSoundOnlyWhileThereIsNoBuffer) {
    make(0, 300, false);
    giveBuffers(2, 1000);
    testing::internal::CaptureStderr();
    ASSERT_EQ(queue->start(), 0);
    ASSERT_TRUE(eventually([&] {
        hearBatch();
        return queue->losses() > 2;
    }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Sound is lost: the buffers do not come back fast enough.\n");
    EXPECT_EQ(count(), 2U);

    giveBuffers(1, 1000);
    EXPECT_TRUE(eventually([&] {
        hearBatch();
        return count() >= 3;
    }));
}

TEST_F(DeviceAudioQueueTest, TellsOfEachStretchOfLostSoundOnce) {
    make(2, 300, false);
    testing::internal::CaptureStderr();
    ASSERT_EQ(queue->start(), 0);
    for (int stretch = 0; stretch < 2; ++stretch) {
        const auto before = queue->losses();
        ASSERT_TRUE(eventually([&] {
            hearBatch();
            return queue->losses() > before + 2;
        }));
        giveBuffers(1, 1000);
        const auto already = count();
        ASSERT_TRUE(eventually([&] {
            hearBatch();
            return count() > already;
        }));
    }
    ASSERT_EQ(queue->stop(), 0);

    const std::string line = "Sound is lost: the buffers do not come back fast enough.\n";
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(text == line + line || text == line + line + line)
        << text; // or a third, at the end
}

TEST_F(DeviceAudioQueueTest, TellsOnceThatItsEncoderHasFailed) {
    make(0, std::make_unique<FailedEncoder>());
    giveBuffers(2, 1000);
    testing::internal::CaptureStderr();
    ASSERT_EQ(queue->start(), 0);
    EXPECT_TRUE(eventually([&] {
        hearBatch();
        return queue->losses() > 2;
    }));
    ASSERT_EQ(queue->stop(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Sound is lost: the encoder has failed, until the capture starts anew.\n");
}

TEST_F(DeviceAudioQueueTest, LosesWhatIsTooFarBehindAndTellsItOnce) {
    WaitingEncoder::Control encoder;
    make(0, std::make_unique<WaitingEncoder>(encoder));
    testing::internal::CaptureStderr();
    ASSERT_EQ(queue->start(), 0);
    hearBatch();
    const bool hasBegun = eventually([&] { return encoder.hasBegun.load(); });
    for (int i = 0; i < 40; ++i) { // five seconds
        hearBatch();
    }
    encoder.goOn.set_value();
    ASSERT_EQ(queue->stop(), 0);
    EXPECT_TRUE(hasBegun);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Sound is lost: it is not encoded fast enough.\n");
    EXPECT_GT(queue->losses(), 5U);
}

TEST_F(DeviceAudioQueueTest, LosesAPacketThatIsTooLargeForAnyBuffer) {
    make(0, 300);
    giveBuffers(2, 299);
    ASSERT_EQ(queue->start(), 0);
    EXPECT_TRUE(eventually([&] {
        hearBatch();
        return queue->losses() > 2;
    }));
    EXPECT_EQ(count(), 0U);
}

TEST_F(DeviceAudioQueueTest, HandsOverWhatThereIsWhenFlushed) {
    make(0, 300);
    giveBuffers(2, 1000);
    ASSERT_EQ(queue->start(), 0);
    taps->deliver({std::vector<std::int16_t>(100), {}});

    ASSERT_EQ(queue->flush(), 0);
    ASSERT_EQ(queue->stop(), 0); // not before it is done

    ASSERT_EQ(delivered.size(), 1U);
    EXPECT_EQ(delivered[0].packets, 1U);
}

TEST_F(DeviceAudioQueueTest, FlushesNothingWhenThereIsNothing) {
    make(0, 300);
    giveBuffers(2, 1000);
    ASSERT_EQ(queue->flush(), 0);
    ASSERT_EQ(queue->start(), 0);
    ASSERT_EQ(queue->flush(), 0);
    ASSERT_EQ(queue->stop(), 0);
    EXPECT_TRUE(delivered.empty());
}

TEST_F(DeviceAudioQueueTest, MetersFromItsStartToItsStop) {
    make(0, 300);
    giveBuffers(2, 1000);
    std::vector<AudioLevelMeter> levels(1);
    EXPECT_EQ(queue->readLevelMeter(levels), EINVAL); // not switched on
    ASSERT_EQ(queue->setLevelMetering(true), 0);
    ASSERT_EQ(queue->start(), 0);
    taps->deliver({std::vector<std::int16_t>(16000, 8192), {}});
    ASSERT_EQ(queue->readLevelMeter(levels), 0);
    EXPECT_NEAR(levels[0].mAveragePower, 0.25, 0.001);
    EXPECT_NEAR(levels[0].mPeakPower, 0.25, 0.001);

    ASSERT_EQ(queue->stop(), 0);
    EXPECT_FALSE(taps->isHeard());
    clock.advance(3s);
    ASSERT_EQ(queue->readLevelMeter(levels), 0);
    EXPECT_EQ(levels[0].mPeakPower, 0.0F);
}

TEST_F(DeviceAudioQueueTest, CannotStartWithoutADevice) {
    hasDevice = false;
    make(0, 300);
    EXPECT_EQ(queue->start(), ENODEV);
    EXPECT_EQ(queue->flush(), 0);
    EXPECT_EQ(queue->stop(), 0);
}

TEST_F(DeviceAudioQueueTest, RefusesEverythingOnceItIsDisposedOf) {
    make(0, 300);
    giveBuffers(2, 1000);
    ASSERT_EQ(queue->start(), 0);
    ASSERT_EQ(queue->dispose(), 0);

    AudioQueueBuffer* buffer = nullptr;
    AudioQueueBuffer other;
    other.bytes = {1};
    std::vector<AudioLevelMeter> levels(1);
    AudioStreamDescription format;
    EXPECT_EQ(queue->start(), EBADF);
    EXPECT_EQ(queue->stop(), EBADF);
    EXPECT_EQ(queue->flush(), EBADF);
    EXPECT_EQ(queue->dispose(), EBADF);
    EXPECT_EQ(queue->allocateBuffer(10, buffer), EBADF);
    EXPECT_EQ(queue->enqueueBuffer(other), EBADF);
    EXPECT_EQ(other.bytes.size(), 1U); // not touched: one of the queue's own is gone
    EXPECT_EQ(queue->readLevelMeter(levels), EBADF);
    EXPECT_EQ(queue->readStreamDescription(format), EBADF);
    EXPECT_EQ(queue->setLevelMetering(true), EBADF);
    EXPECT_EQ(queue->addRunningListener([] {}), EBADF);
}

TEST_F(DeviceAudioQueueTest, RefusesBuffersOfNoSizeAndBuffersThatItHas) {
    make(0, 300);
    AudioQueueBuffer* buffer = nullptr;
    EXPECT_EQ(queue->allocateBuffer(0, buffer), EINVAL);
    EXPECT_EQ(queue->allocateBuffer(0xffffffff, buffer), EINVAL);
    ASSERT_EQ(queue->allocateBuffer(10, buffer), 0);
    EXPECT_EQ(queue->enqueueBuffer(*buffer), 0);
    EXPECT_EQ(queue->enqueueBuffer(*buffer), EBUSY);
}

TEST_F(DeviceAudioQueueTest, TellsWhenItStartsAndStops) {
    make(0, 300);
    int changes = 0;
    ASSERT_EQ(queue->addRunningListener([&] { ++changes; }), 0);
    ASSERT_EQ(queue->start(), 0);
    ASSERT_EQ(queue->start(), 0);
    EXPECT_EQ(changes, 1);
    ASSERT_EQ(queue->stop(), 0);
    EXPECT_EQ(changes, 2);
}

} // namespace

} // namespace ovelo
