#pragma once

#include <cassert>
#include <mutex>

#if defined(__clang__)
#define OVELO_ANNOTATE(x) __attribute__((x))
#else
#define OVELO_ANNOTATE(x)
#endif
#define OVELO_CAPABILITY(name) OVELO_ANNOTATE(capability(name))
#define OVELO_SCOPED OVELO_ANNOTATE(scoped_lockable)
#define OVELO_GUARDED_BY(mutex) OVELO_ANNOTATE(guarded_by(mutex))
#define OVELO_REQUIRES(mutex) OVELO_ANNOTATE(requires_capability(mutex))
#define OVELO_EXCLUDES(mutex) OVELO_ANNOTATE(locks_excluded(mutex))
#define OVELO_ACQUIRE(...) OVELO_ANNOTATE(acquire_capability(__VA_ARGS__))
#define OVELO_RELEASE(...) OVELO_ANNOTATE(release_capability(__VA_ARGS__))
#define OVELO_NO_ANALYSIS OVELO_ANNOTATE(no_thread_safety_analysis)

namespace ovelo {

/// Order in which a thread may take locks: each next one has a higher rank.
enum class LockRank { Threads = 1, Registry, Session, Transport, Settings, Log };

/// A non-recursive mutex that asserts the lock order in debug builds.
///
/// thread  any; used through MutexLock, whose nesting keeps the bookkeeping right
class OVELO_CAPABILITY("mutex") Mutex {
public:
    explicit Mutex(LockRank rank) : rank_(static_cast<int>(rank)) {}

    void lock() OVELO_ACQUIRE() {
        assert(rank_ > innermost_ && "locks are taken in LockRank order");
        mutex_.lock();
        outer_ = innermost_;
        innermost_ = rank_;
    }
    void unlock() OVELO_RELEASE() {
        innermost_ = outer_;
        mutex_.unlock();
    }

    /// True when the calling thread holds no Mutex: asked before waiting for another thread.
    static bool noneHeld() { return innermost_ == 0; }

private:
    std::mutex mutex_;
    const int rank_;
    int outer_ = 0; // written only while mutex_ is held
    static inline thread_local int innermost_ = 0;
};

/// Holds a Mutex for the length of a scope.
class OVELO_SCOPED MutexLock {
public:
    explicit MutexLock(Mutex& mutex) OVELO_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() OVELO_RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

} // namespace ovelo
