#pragma once

#include "platform/Data.h"
#include "platform/Result.h"

#include <filesystem>
#include <optional>

namespace ovelo {

/// Writes a given number of pictures to files: one to exactly the given name, several to
/// "name-1.ext", "name-2.ext"...
class PictureFiles {
public:
    PictureFiles(std::filesystem::path file, unsigned wanted);

    /// return  none when the picture is written, else why not
    [[nodiscard]] std::optional<Failure> write(const Bytes& picture);

    [[nodiscard]] bool complete() const { return written_ == wanted_; }
    [[nodiscard]] unsigned written() const { return written_; }

    /// The name of the next file.
    [[nodiscard]] std::filesystem::path nextName() const;

private:
    std::filesystem::path file_;
    unsigned wanted_;
    unsigned written_ = 0;
};

} // namespace ovelo
