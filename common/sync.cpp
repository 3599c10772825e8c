#include "fcx/sync.h"

#include <log/log.h>

#include <cerrno>
#include <ctime>

#include "common/deadline.h"

// These messages have no tag. A line that cannot be logged stops nothing.
#define SYNC_ERROR(...) \
  static_cast<void>(__android_log_buf_print(LOG_ID_SYSTEM, ANDROID_LOG_ERROR, "", __VA_ARGS__))

Mutex::Mutex() = default;

Mutex::~Mutex() { pthread_mutex_destroy(&mutex_); }

int Mutex::lock() { return pthread_mutex_lock(&mutex_); }

int Mutex::unlock() { return pthread_mutex_unlock(&mutex_); }

int Mutex::tryLock() { return pthread_mutex_trylock(&mutex_); }

pthread_mutex_t* Mutex::nativeHandle() { return &mutex_; }

CondVar::CondVar() {
  pthread_condattr_t monotonic;
  int error = pthread_condattr_init(&monotonic);
  if (error == 0) {
    error = pthread_condattr_setclock(&monotonic, CLOCK_MONOTONIC);
    if (error == 0) error = pthread_cond_init(&condition_, &monotonic);
    pthread_condattr_destroy(&monotonic);
  }
  if (error != 0) SYNC_ERROR("CondVar::CondVar: fail init; error=0x%X", error);
}

CondVar::~CondVar() { pthread_cond_destroy(&condition_); }

void CondVar::wait(Mutex& mutex) { pthread_cond_wait(&condition_, mutex.nativeHandle()); }

int CondVar::wait(Mutex& mutex, long milliseconds) {
  timespec now{};
  if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
    SYNC_ERROR("CondVar::wait: fail get time; errno=0x%X", errno);
    return 0;
  }
  const timespec deadline = fcx::deadline_after(now, milliseconds);
  const int error = pthread_cond_timedwait(&condition_, mutex.nativeHandle(), &deadline);
  if (error == 0) return 1;
  if (error != ETIMEDOUT) SYNC_ERROR("CondVar::wait: fail timed wait; error=0x%X", error);
  return 0;
}

void CondVar::notifyOne() { pthread_cond_signal(&condition_); }
