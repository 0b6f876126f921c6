#pragma once

#include "ipcam/CameraPictures.h"
#include "platform/PictureFile.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ovelo {

/// Pictures that are texts: every pixel of one has the value of its first letter; "bad..." is damaged.
class FakeCameraPictures final : public CameraPictures {
public:
    Result<VideoFrame> decode(std::span<const std::uint8_t> jpeg) override {
        const std::string text(jpeg.begin(), jpeg.end());
        const std::lock_guard lock(lock_);
        decoded_.push_back(text);
        if (text.empty() || text.starts_with("bad")) {
            return Failure{"damaged: " + text};
        }
        auto pixels =
            std::make_shared<Bytes>(picturefile::kSize, static_cast<std::uint8_t>(text.front()));
        const std::uint8_t* data = pixels->data();
        return VideoFrame{320, 240, 1280, data, std::move(pixels)};
    }
    Bytes fill(const VideoFrame& picture) override {
        return {picture.pixels, picture.pixels + picturefile::kSize};
    }
    /// Only the second pixel is changed.
    void drawLine(Bytes& rgba, std::string_view text) override {
        const std::lock_guard lock(lock_);
        lines_.emplace_back(text);
        rgba[4] = '!';
    }

    /// Every picture that was to be decoded.
    [[nodiscard]] std::vector<std::string> decoded() const {
        const std::lock_guard lock(lock_);
        return decoded_;
    }
    [[nodiscard]] std::vector<std::string> lines() const {
        const std::lock_guard lock(lock_);
        return lines_;
    }

private:
    mutable std::mutex lock_;
    std::vector<std::string> decoded_;
    std::vector<std::string> lines_;
};

} // namespace ovelo
