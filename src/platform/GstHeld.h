#pragma once

#include <memory>
#include <utility>

namespace ovelo {

/// Lets a C callback hold what it needs: give `hold(object)` as its data and `drop` as its release.
template <typename T>
struct GstHeld {
    static void* hold(std::shared_ptr<T> object) {
        return new std::shared_ptr<T>(std::move(object));
    }
    static T& of(void* data) { return **static_cast<std::shared_ptr<T>*>(data); }
    static void drop(void* data) { delete static_cast<std::shared_ptr<T>*>(data); }
};

} // namespace ovelo
