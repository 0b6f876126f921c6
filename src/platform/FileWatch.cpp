#include "platform/FileWatch.h"

#include <QCoreApplication>
#include <QFileSystemWatcher>
#include <QPointer>
#include <QTimer>

#include <sys/stat.h>

#include <chrono>
#include <tuple>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kPoll = 400ms; // for file systems and folders that tell nothing
constexpr auto kRest = 30ms;  // a writer may be in the middle of its work

/// What tells one state of a file from the next.
using Stamp = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;

Stamp stampOf(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev,         status.st_ino,          status.st_size,
            status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
            status.st_ctim.tv_nsec};
}

class Watcher final : public QObject {
public:
    Watcher(std::filesystem::path path, std::function<void()> changed)
        : QObject(QCoreApplication::instance())
        , path_(std::move(path))
        , changed_(std::move(changed)) {
        rest_.setSingleShot(true);
        rest_.setInterval(kRest);
        connect(&rest_, &QTimer::timeout, this, [this] { tell(); });
        connect(&watcher_, &QFileSystemWatcher::fileChanged, this, [this] { look(); });
        connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, [this] { look(); });
        connect(&poll_, &QTimer::timeout, this, [this] { look(); });
        poll_.start(kPoll);
        renew();
    }

private:
    void look() {
        renew();
        if (stampOf(path_) != stamp_) {
            rest_.start(); // anew at each change
        }
    }

    /// A watch dies with the file that it was set on, and there may have been none.
    void renew() {
        const QString file = QString::fromStdString(path_.string());
        const QString folder = QString::fromStdString(path_.parent_path().string());
        std::error_code failure;
        if (!watcher_.files().contains(file) && std::filesystem::exists(path_, failure)) {
            watcher_.addPath(file);
        }
        if (!watcher_.directories().contains(folder) &&
            std::filesystem::exists(path_.parent_path(), failure)) {
            watcher_.addPath(folder);
        }
    }

    void tell() {
        stamp_ = stampOf(path_);
        changed_();
    }

    const std::filesystem::path path_;
    const std::function<void()> changed_;
    Stamp stamp_ = stampOf(path_);
    QFileSystemWatcher watcher_;
    QTimer rest_;
    QTimer poll_;
};

} // namespace

struct FileWatch::Handle {
    QPointer<Watcher> watcher; // the application may have ended it
};

FileWatch::FileWatch(std::filesystem::path path, std::function<void()> changed)
    : handle_(std::make_unique<Handle>(Handle{new Watcher(std::move(path), std::move(changed))})) {
} // child of the application

FileWatch::~FileWatch() {
    const std::unique_ptr<Watcher> watcher(handle_->watcher.data());
}

} // namespace ovelo
