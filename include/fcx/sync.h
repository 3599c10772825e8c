// Small wrappers over the platform's threads library.
//
// Example:
//
//   #include <mutex>
//
//   Mutex mutex;
//   CondVar changed;
//   bool is_done = true;  // guarded by `mutex`; who sets it calls changed.notifyOne()
//   const std::lock_guard lock(mutex);
//   while (!is_done) changed.wait(mutex);
#pragma once

#include <pthread.h>

// With Clang's -Wthread-safety a program is checked as well: that a mutex is given back, that a
// waiter holds it, and what a program marks as guarded by it.
#if defined(__clang__)
#define FCX_CHECKED_LOCK(attribute) __attribute__((attribute))
#else
#define FCX_CHECKED_LOCK(attribute)
#endif

#pragma GCC visibility push(default)

/// A plain mutex. Usable with std::lock_guard.
class FCX_CHECKED_LOCK(capability("mutex")) Mutex {
 public:
  Mutex();
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  /// Waits for the mutex and takes it. @return 0, or an errno value
  int lock() FCX_CHECKED_LOCK(acquire_capability());
  /// Gives the mutex back. @return 0, or an errno value
  int unlock() FCX_CHECKED_LOCK(release_capability());
  /// Takes the mutex if it is free. @return 0 when it was taken, EBUSY when another holds it
  int tryLock() FCX_CHECKED_LOCK(try_acquire_capability(false));
  /// The mutex itself, for calls into the threads library. Owned by this object.
  pthread_mutex_t* nativeHandle();

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

/// A condition variable on the monotonic clock. As with any, a wait may end without a signal: wait
/// in a loop that tests the condition.
class CondVar {
 public:
  /// Logs "CondVar::CondVar: fail init; error=0x%X" when the variable cannot be made.
  CondVar();
  ~CondVar();
  CondVar(const CondVar&) = delete;
  CondVar& operator=(const CondVar&) = delete;

  /// Waits for a signal. `mutex` is held by the caller, before and after.
  void wait(Mutex& mutex) FCX_CHECKED_LOCK(requires_capability(mutex));

  /// Waits for a signal or until `milliseconds` have passed (a negative time has passed already).
  /// @return 1 when signalled, 0 after a time-out or an error. An error is logged: once in a long
  ///         while a deadline falls on a whole second, which ends the wait at once with an error
  ///         (EINVAL); that is on purpose, so loops must not spin on a 0.
  int wait(Mutex& mutex, long milliseconds) FCX_CHECKED_LOCK(requires_capability(mutex));

  /// Wakes one waiter.
  void notifyOne();

 private:
  pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
};

#pragma GCC visibility pop

#undef FCX_CHECKED_LOCK
