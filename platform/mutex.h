#pragma once

// A mutex whose use Clang checks at compile time (-Wthread-safety; "Thread Safety Analysis" in the
// Clang documentation). Other compilers ignore the annotations.
// Threads: any.

#include <mutex>

#if defined(__clang__)
#define VELTRANE_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define VELTRANE_THREAD_SAFETY(attribute)
#endif

// Marks a variable that may be touched only while the mutex is held.
#define VELTRANE_GUARDED_BY(mutex) VELTRANE_THREAD_SAFETY(guarded_by(mutex))

namespace veltrane {

class VELTRANE_THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  // Throws std::system_error when the system refuses the lock.
  void Lock() VELTRANE_THREAD_SAFETY(acquire_capability()) { mutex_.lock(); }
  // False when another thread, or this one, holds the mutex.
  bool TryLock() VELTRANE_THREAD_SAFETY(try_acquire_capability(true)) { return mutex_.try_lock(); }
  void Unlock() VELTRANE_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Holds a mutex for the length of its life.
class VELTRANE_THREAD_SAFETY(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) VELTRANE_THREAD_SAFETY(acquire_capability(mutex))
      : mutex_(mutex) {
    mutex_.Lock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() VELTRANE_THREAD_SAFETY(release_capability()) { mutex_.Unlock(); }

 private:
  Mutex& mutex_;
};

}  // namespace veltrane
