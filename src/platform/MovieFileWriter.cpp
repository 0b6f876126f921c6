#include "platform/MovieFileWriter.h"

#include "platform/AacConfiguration.h"
#include "platform/SoundBlock.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace ovelo {

namespace {

constexpr std::int64_t kFragmentTicks = 2 * static_cast<std::int64_t>(kPictureTimescale);
constexpr std::uint32_t kSoundTimescale = kSoundRate;
constexpr std::uint64_t kPlaceOfSize = 20; // behind the first box; see writeHead()
constexpr std::uint32_t kPictureTrack = 1;
constexpr std::uint32_t kSoundTrack = 2;

// Movies count seconds from 1904.
constexpr std::int64_t kFrom1904To1970 = 2082844800;

std::uint32_t clamped(std::int64_t ticks) {
    constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(ticks, 1, kLongest));
}

void writeDefaults(MovieBytes& out, std::uint32_t track) {
    out.fullBox("trex", 0, 0, [&] {
        out.u32(track);
        out.u32(1); // sample description
        out.zeros(12);
    });
}

/// What stands in front of the data of a fragment.
MovieBytes fragmentHead(const MovieTrack& pictures, const MovieTrack& sound, std::uint32_t number,
                        std::size_t pictureBytes, std::size_t soundBytes) {
    constexpr std::uint32_t kBoxHead = 8;
    MovieBytes out;
    std::size_t picturesPatch = 0;
    std::size_t soundPatch = 0;
    out.box("moof", [&] {
        out.fullBox("mfhd", 0, 0, [&] { out.u32(number); });
        if (pictureBytes > 0) {
            picturesPatch = pictures.writeFragment(out);
        }
        if (soundBytes > 0) {
            soundPatch = sound.writeFragment(out);
        }
    });
    const auto data = static_cast<std::uint32_t>(out.size()) + kBoxHead;
    if (picturesPatch > 0) {
        out.patch(picturesPatch, data);
    }
    if (soundPatch > 0) {
        out.patch(soundPatch, data + static_cast<std::uint32_t>(pictureBytes));
    }
    out.u32(static_cast<std::uint32_t>(pictureBytes + soundBytes) + kBoxHead);
    out.text("mdat");
    return out;
}

} // namespace

MovieFileWriter::MovieFileWriter(FileDescriptor file, const Format& format, std::int64_t createdAt)
    : file_(std::move(file))
    , createdAt_(createdAt + kFrom1904To1970)
    , pictures_(MovieTrack::Kind::Pictures, format.codec, kPictureTrack, kPictureTimescale,
                format.pictureConfig)
    , sound_(MovieTrack::Kind::Sound, format.codec, kSoundTrack, kSoundTimescale,
             format.soundConfig) {
    writeHead();
}

void MovieFileWriter::addPicture(std::span<const std::uint8_t> packet, std::int64_t start,
                                 bool isKey) {
    closePicture(start);
    open_ = OpenPicture{{packet.begin(), packet.end()}, start, isKey};
    if (start - flushedUntil_ >= kFragmentTicks) {
        flush();
        flushedUntil_ = start;
    }
}

void MovieFileWriter::addSound(std::span<const std::uint8_t> packet) {
    soundData_.insert(soundData_.end(), packet.begin(), packet.end());
    sound_.addSample(static_cast<std::uint32_t>(packet.size()), kAacPacketSamples, true);
}

void MovieFileWriter::closePicture(std::int64_t end) {
    if (!open_) {
        return;
    }
    const auto& packet = open_->packet;
    pictureData_.insert(pictureData_.end(), packet.begin(), packet.end());
    pictures_.addSample(static_cast<std::uint32_t>(packet.size()), clamped(end - open_->start),
                        open_->isKey);
    open_.reset();
}

void MovieFileWriter::finish(std::int64_t end, bool withSound) {
    closePicture(end);
    const auto wanted = static_cast<std::uint64_t>(end) * kSoundTimescale / kPictureTimescale;
    if (sound_.duration() > wanted && sound_.duration() - wanted < kAacPacketSamples) {
        sound_.setLastDuration(
            static_cast<std::uint32_t>(kAacPacketSamples - (sound_.duration() - wanted)));
    }
    flush();
    const std::uint64_t dataEnd = size_;
    MovieBytes index;
    writeMovie(index, true, withSound);
    if (!write(index.data()) || ::fsync(file_.get()) != 0) {
        const int error = errno;
        size_ = dataEnd; // the fragments are all that readers can use
        fail(error);
        return;
    }
    // The index is on the disk; now the readers may be told to use it.
    MovieBytes front;
    front.u32(1); // the size follows in 64 bits
    front.text("mdat");
    front.u64(dataEnd - kPlaceOfSize);
    const ssize_t placed =
        ::pwrite(file_.get(), front.data().data(), front.size(), static_cast<off_t>(kPlaceOfSize));
    if (placed != static_cast<ssize_t>(front.size()) || ::fsync(file_.get()) != 0) {
        fail(errno);
    }
}

void MovieFileWriter::flush() {
    if (failure_ || (pictureData_.empty() && soundData_.empty())) {
        return;
    }
    const MovieBytes head =
        fragmentHead(pictures_, sound_, ++fragments_, pictureData_.size(), soundData_.size());
    const std::uint64_t data = size_ + head.size();
    std::vector<std::uint8_t> all = head.data();
    all.insert(all.end(), pictureData_.begin(), pictureData_.end());
    all.insert(all.end(), soundData_.begin(), soundData_.end());
    if (!write(all)) {
        fail(errno);
        return;
    }
    pictures_.closeChunk(data);
    sound_.closeChunk(data + pictureData_.size());
    pictureData_.clear();
    soundData_.clear();
}

bool MovieFileWriter::write(std::span<const std::uint8_t> bytes) {
    if (failure_) {
        return false;
    }
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            ::pwrite(file_.get(), bytes.data() + done, bytes.size() - done,
                     static_cast<off_t>(size_ + done)); // a failed block is overwritten, or cut off
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    size_ += bytes.size();
    return true;
}

void MovieFileWriter::writeHead() {
    MovieBytes out;
    out.box("ftyp", [&] {
        out.text("qt  ");
        out.u32(0x200);
        out.text("qt  ");
    });
    out.box("free", [&] { out.zeros(8); }); // room for the head of the data, see finish()
    writeMovie(out, false, true);
    if (!write(out.data())) {
        fail(errno);
    }
}

void MovieFileWriter::writeMovie(MovieBytes& out, bool withSamples, bool withSound) const {
    std::uint64_t duration = pictures_.duration();
    if (withSound) {
        duration = std::max(duration, sound_.duration() * kPictureTimescale / kSoundTimescale);
    }
    out.box("moov", [&] {
        out.fullBox("mvhd", 1, 0, [&] {
            out.u64(static_cast<std::uint64_t>(createdAt_));
            out.u64(static_cast<std::uint64_t>(createdAt_));
            out.u32(kPictureTimescale);
            out.u64(withSamples ? duration : 0);
            out.u32(0x00010000); // rate
            out.u16(0x0100);     // volume
            out.zeros(10);
            out.unchangedMatrix();
            out.zeros(24);
            out.u32(kSoundTrack + 1); // the next free one
        });
        pictures_.writeTrack(out, kPictureTimescale, withSamples);
        if (withSound) {
            sound_.writeTrack(out, kPictureTimescale, withSamples);
        }
        if (!withSamples) {
            out.box("mvex", [&] {
                writeDefaults(out, kPictureTrack);
                writeDefaults(out, kSoundTrack);
            });
        }
    });
}

void MovieFileWriter::fail(int error) {
    if (!failure_) {
        failure_ = Failure{std::string("The movie cannot be written: ") + std::strerror(error)};
        // What is left is whole fragments. When this fails, too, readers skip the torn one.
        [[maybe_unused]] const int cut = ::ftruncate(file_.get(), static_cast<off_t>(size_));
    }
}

} // namespace ovelo
