#pragma once

#include <memory>

namespace ovelo {

/// Deleter for an object of a C library; Free is the library's release function.
template <auto Free>
struct CDeleter {
    template <typename T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};

/// Owns an object of a C library.
template <typename T, auto Free>
using CHandle = std::unique_ptr<T, CDeleter<Free>>;

} // namespace ovelo
