#include "viewer/PictureFiles.h"

#include <fmt/format.h>

#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

namespace ovelo {

PictureFiles::PictureFiles(std::filesystem::path file, unsigned wanted)
    : file_(std::move(file))
    , wanted_(wanted) {
}

std::filesystem::path PictureFiles::nextName() const {
    if (wanted_ == 1) {
        return file_;
    }
    auto name = file_.stem();
    name += fmt::format("-{}", written_ + 1);
    name += file_.extension();
    return file_.parent_path() / name;
}

std::optional<Failure> PictureFiles::write(const Bytes& picture) {
    const auto name = nextName();
    errno = 0;
    // Written in place, not renamed into it: the name may be a pipe or a device.
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(picture.data()),
              static_cast<std::streamsize>(picture.size()));
    out.close();
    const int error = errno;
    if (!out) {
        return Failure{fmt::format("cannot write {}: {}", name.string(),
                                   std::generic_category().message(error))};
    }
    ++written_;
    return std::nullopt;
}

} // namespace ovelo
