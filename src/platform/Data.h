#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace ovelo {

using Bytes = std::vector<std::uint8_t>;

/// Bytes that are made once and then only read: one JPEG is shared by every viewer's queue and
/// never copied.
///
/// thread  the bytes never change, so any thread may read them
using Data = std::shared_ptr<const Bytes>;

inline Data makeData(Bytes bytes) {
    return std::make_shared<const Bytes>(std::move(bytes));
}

} // namespace ovelo
