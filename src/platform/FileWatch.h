#pragma once

#include <filesystem>
#include <functional>
#include <memory>

namespace ovelo {

/// Tells when a file has become another one: changed, replaced, made or removed, by whomever.
///
/// A change is told within half a second, usually within 50 ms, once the file has rested for a
/// moment.
///
/// thread    main, with a running event loop; `changed` is called there
/// lifetime  needs the QCoreApplication; ends by itself with it
class FileWatch final {
public:
    FileWatch(std::filesystem::path path, std::function<void()> changed);
    ~FileWatch();
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

private:
    struct Handle;

    std::unique_ptr<Handle> handle_;
};

} // namespace ovelo
