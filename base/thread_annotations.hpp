#pragma once

#include <mutex>

// Clang's thread-safety attributes, so that "guarded by this lock" is a promise the compiler keeps.
// Other compilers see plain declarations.

#if defined(__clang__)
#define QUILLON_ATTRIBUTE(x) __attribute__((x))
#else
#define QUILLON_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) QUILLON_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY QUILLON_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) QUILLON_ATTRIBUTE(guarded_by(x))
#define REQUIRES(...) QUILLON_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) QUILLON_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) QUILLON_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) QUILLON_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS QUILLON_ATTRIBUTE(no_thread_safety_analysis)

namespace quillon {

/// A mutex that thread-safety analysis knows.
class CAPABILITY("mutex") Mutex {
  public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

  private:
    std::mutex mutex_;
};

/// Holds a Mutex for a scope; `unlock` and `lock` open and close a gap inside it. Also what a
/// `std::condition_variable_any` waits on.
class SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex), held_(true) { mutex_.lock(); }
    ~MutexLock() RELEASE() {
        if (held_) mutex_.unlock();
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void lock() ACQUIRE() {
        mutex_.lock();
        held_ = true;
    }
    void unlock() RELEASE() {
        held_ = false;
        mutex_.unlock();
    }

  private:
    Mutex& mutex_;
    bool held_;
};

}  // namespace quillon
