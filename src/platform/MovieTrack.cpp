#include "platform/MovieTrack.h"

#include "platform/AacConfiguration.h"
#include "platform/SoundBlock.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace ovelo {

namespace {

constexpr std::uint32_t kWidth = 320;
constexpr std::uint32_t kHeight = 240;
constexpr std::uint32_t kEnglish = 0;

// Flags of a sample, as ISO 14496-12, 8.8.3.1 has them.
constexpr std::uint32_t kDependsOnNothing = 0x02000000;
constexpr std::uint32_t kDependsOnOthers = 0x01010000;

// Tags of descriptors, ISO 14496-1, 7.2.2.1.
constexpr std::uint32_t kEsTag = 3;
constexpr std::uint32_t kDecoderConfigTag = 4;
constexpr std::uint32_t kDecoderInfoTag = 5;
constexpr std::uint32_t kSyncTag = 6;
constexpr std::uint32_t kMpeg4Pictures = 0x20;
constexpr std::uint32_t kMpeg4Sound = 0x40;

/// Says that the data are in this file.
void writeDataReference(MovieBytes& out) {
    out.box("dinf", [&] {
        out.fullBox("dref", 0, 0, [&] {
            out.u32(1);
            out.fullBox("url ", 0, 1, [] {});
        });
    });
}

/// Tag and length of a descriptor of fewer than 128 bytes.
void descriptor(MovieBytes& out, std::uint32_t tag, std::size_t length) {
    out.u8(tag);
    out.u8(static_cast<std::uint32_t>(length));
}

} // namespace

MovieTrack::MovieTrack(Kind kind, PictureCodec codec, std::uint32_t id, std::uint32_t timescale,
                       std::vector<std::uint8_t> config)
    : kind_(kind)
    , codec_(codec)
    , id_(id)
    , timescale_(timescale)
    , config_(std::move(config)) {
}

void MovieTrack::addSample(std::uint32_t size, std::uint32_t duration, bool isKey) {
    sizes_.push_back(size);
    addDuration(duration);
    if (isKey && kind_ == Kind::Pictures) {
        keys_.push_back(static_cast<std::uint32_t>(sizes_.size()));
    }
}

void MovieTrack::addDuration(std::uint32_t duration) {
    if (runs_.empty() || runs_.back().duration != duration) {
        runs_.push_back({0, duration});
    }
    ++runs_.back().samples;
    duration_ += duration;
}

void MovieTrack::closeChunk(std::uint64_t offset) {
    if (unplaced() > 0) {
        chunks_.push_back({offset, static_cast<std::uint32_t>(unplaced())});
        placed_ = sizes_.size();
        placedDuration_ = duration_;
    }
}

void MovieTrack::setLastDuration(std::uint32_t duration) {
    if (runs_.empty()) {
        return;
    }
    duration_ -= runs_.back().duration;
    if (--runs_.back().samples == 0) {
        runs_.pop_back();
    }
    addDuration(duration);
}

void MovieTrack::writeTrack(MovieBytes& out, std::uint32_t movieTimescale, bool withSamples) const {
    const std::uint64_t duration = withSamples ? duration_ : 0;
    const bool isSound = kind_ == Kind::Sound;
    out.box("trak", [&] {
        out.fullBox("tkhd", 1, 0xf, [&] { // enabled, in movie, preview and poster
            out.zeros(16);
            out.u32(id_);
            out.u32(0);
            out.u64(duration * movieTimescale / timescale_);
            out.zeros(12);
            out.u16(isSound ? 0x0100 : 0); // volume
            out.u16(0);
            out.unchangedMatrix();
            out.u32(isSound ? 0 : kWidth << 16);
            out.u32(isSound ? 0 : kHeight << 16);
        });
        out.box("mdia", [&] {
            writeMediaHeader(out, duration);
            writeHandler(out);
            writeInformation(out, withSamples);
        });
    });
}

void MovieTrack::writeMediaHeader(MovieBytes& out, std::uint64_t duration) const {
    out.fullBox("mdhd", 1, 0, [&] {
        out.zeros(16);
        out.u32(timescale_);
        out.u64(duration);
        out.u16(kEnglish);
        out.u16(0);
    });
}

void MovieTrack::writeHandler(MovieBytes& out) const {
    out.fullBox("hdlr", 0, 0, [&] {
        out.text("mhlr");
        out.text(kind_ == Kind::Sound ? "soun" : "vide");
        out.zeros(12);
        const std::string_view name = kind_ == Kind::Sound ? "Sound" : "Pictures";
        out.u8(static_cast<std::uint32_t>(name.size()));
        out.text(name);
    });
}

void MovieTrack::writeInformation(MovieBytes& out, bool withSamples) const {
    out.box("minf", [&] {
        if (kind_ == Kind::Sound) {
            out.fullBox("smhd", 0, 0, [&] { out.zeros(4); });
        } else {
            out.fullBox("vmhd", 0, 1, [&] { out.zeros(8); });
        }
        writeDataReference(out);
        writeSampleTable(out, withSamples);
    });
}

void MovieTrack::writeSampleTable(MovieBytes& out, bool withSamples) const {
    out.box("stbl", [&] {
        writeDescription(out);
        writeDurations(out, withSamples);
        if (withSamples && kind_ == Kind::Pictures) {
            writeKeys(out);
        }
        writeChunks(out, withSamples);
        writeSizes(out, withSamples);
    });
}

void MovieTrack::writeDescription(MovieBytes& out) const {
    out.fullBox("stsd", 0, 0, [&] {
        out.u32(1);
        if (kind_ == Kind::Sound) {
            writeSoundEntry(out);
        } else {
            writePictureEntry(out);
        }
    });
}

void MovieTrack::writePictureEntry(MovieBytes& out) const {
    constexpr std::uint32_t kDotsPerInch = 72 << 16;
    const bool isH264 = codec_ == PictureCodec::H264;
    out.box(isH264 ? "avc1" : "mp4v", [&] {
        out.zeros(6);
        out.u16(1); // data reference
        out.zeros(16);
        out.u16(kWidth);
        out.u16(kHeight);
        out.u32(kDotsPerInch);
        out.u32(kDotsPerInch);
        out.u32(0);
        out.u16(1);      // a picture in each sample
        out.zeros(32);   // name of the encoder
        out.u16(24);     // depth
        out.u16(0xffff); // no colour table
        if (isH264) {
            out.box("avcC", [&] { out.bytes(config_); });
        } else {
            writeDecoderConfig(out);
        }
    });
}

void MovieTrack::writeSoundEntry(MovieBytes& out) const {
    out.box("mp4a", [&] {
        out.zeros(6);
        out.u16(1); // data reference
        out.u16(1); // version
        out.zeros(6);
        out.u16(1);      // channel
        out.u16(16);     // bits
        out.u16(0xfffe); // compressed, in packets of various sizes
        out.u16(0);
        out.u32(static_cast<std::uint32_t>(kSoundRate) << 16);
        out.u32(static_cast<std::uint32_t>(kAacPacketSamples));
        out.u32(0);
        out.u32(0);
        out.u32(2); // bytes of a sample once it is decoded
        out.box("wave", [&] {
            out.box("frma", [&] { out.text("mp4a"); });
            out.box("mp4a", [&] { out.u32(0); });
            writeDecoderConfig(out);
            out.box(std::string_view("\0\0\0\0", 4), [] {});
        });
    });
}

void MovieTrack::writeDecoderConfig(MovieBytes& out) const {
    constexpr std::size_t kDecoderConfigSize = 13;
    const std::size_t decoder = kDecoderConfigSize + 2 + config_.size();
    out.fullBox("esds", 0, 0, [&] {
        descriptor(out, kEsTag, 3 + 2 + decoder + 3);
        out.u16(id_);
        out.u8(0);
        descriptor(out, kDecoderConfigTag, decoder);
        out.u8(kind_ == Kind::Sound ? kMpeg4Sound : kMpeg4Pictures);
        out.u8(kind_ == Kind::Sound ? 0x15 : 0x11); // kind of stream, in its upper six bits
        out.u24(0);
        out.u32(0);
        out.u32(0);
        descriptor(out, kDecoderInfoTag, config_.size());
        out.bytes(config_);
        descriptor(out, kSyncTag, 1);
        out.u8(2);
    });
}

void MovieTrack::writeDurations(MovieBytes& out, bool withSamples) const {
    out.fullBox("stts", 0, 0, [&] {
        out.u32(withSamples ? static_cast<std::uint32_t>(runs_.size()) : 0);
        for (std::size_t i = 0; withSamples && i < runs_.size(); ++i) {
            out.u32(runs_[i].samples);
            out.u32(runs_[i].duration);
        }
    });
}

void MovieTrack::writeKeys(MovieBytes& out) const {
    out.fullBox("stss", 0, 0, [&] {
        out.u32(static_cast<std::uint32_t>(keys_.size()));
        for (const std::uint32_t key : keys_) {
            out.u32(key);
        }
    });
}

void MovieTrack::writeChunks(MovieBytes& out, bool withSamples) const {
    const std::vector<Chunk> none;
    const std::vector<Chunk>& chunks = withSamples ? chunks_ : none;
    out.fullBox("stsc", 0, 0, [&] {
        const std::size_t count = out.size();
        out.u32(0);
        std::uint32_t runs = 0;
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            if (i == 0 || chunks[i].samples != chunks[i - 1].samples) {
                out.u32(static_cast<std::uint32_t>(i + 1));
                out.u32(chunks[i].samples);
                out.u32(1);
                ++runs;
            }
        }
        out.patch(count, runs);
    });
    out.fullBox("co64", 0, 0, [&] {
        out.u32(static_cast<std::uint32_t>(chunks.size()));
        for (const Chunk& chunk : chunks) {
            out.u64(chunk.offset);
        }
    });
}

void MovieTrack::writeSizes(MovieBytes& out, bool withSamples) const {
    out.fullBox("stsz", 0, 0, [&] {
        out.u32(0);
        out.u32(withSamples ? static_cast<std::uint32_t>(placed_) : 0);
        for (std::size_t i = 0; withSamples && i < placed_; ++i) {
            out.u32(sizes_[i]);
        }
    });
}

bool MovieTrack::isKey(std::size_t sample) const {
    return kind_ == Kind::Sound || std::binary_search(keys_.begin(), keys_.end(), sample + 1);
}

std::vector<std::uint32_t> MovieTrack::unplacedDurations() const {
    std::vector<std::uint32_t> durations;
    for (auto run = runs_.rbegin(); durations.size() < unplaced(); ++run) {
        const std::size_t missing = unplaced() - durations.size();
        durations.insert(durations.end(), std::min<std::size_t>(run->samples, missing),
                         run->duration);
    }
    std::reverse(durations.begin(), durations.end());
    return durations;
}

std::size_t MovieTrack::writeFragment(MovieBytes& out) const {
    constexpr std::uint32_t kOffsetsCountFromTheFragment = 0x020000;
    constexpr std::uint32_t kHasDataOffset = 0x1;
    constexpr std::uint32_t kHasDurationSizeAndFlags = 0x700;
    std::size_t patch = 0;
    out.box("traf", [&] {
        out.fullBox("tfhd", 0, kOffsetsCountFromTheFragment, [&] { out.u32(id_); });
        out.fullBox("tfdt", 1, 0, [&] { out.u64(placedDuration_); });
        out.fullBox("trun", 0, kHasDataOffset | kHasDurationSizeAndFlags, [&] {
            out.u32(static_cast<std::uint32_t>(unplaced()));
            patch = out.size();
            out.u32(0);
            const std::vector<std::uint32_t> durations = unplacedDurations();
            for (std::size_t i = placed_; i < sizes_.size(); ++i) {
                out.u32(durations[i - placed_]);
                out.u32(sizes_[i]);
                out.u32(isKey(i) ? kDependsOnNothing : kDependsOnOthers);
            }
        });
    });
    return patch;
}

} // namespace ovelo
