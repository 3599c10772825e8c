#include "common/threads.h"

#include <pthread.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <new>

#include "fcx/background.h"
#include "fcx/sync.h"
#include "platform/immortal.h"
#include "platform/thread_annotations.h"

namespace fcx {
namespace {

struct Work {
  void* (*body)(void*);
  void* argument;
};

/// How many threads are running, and who wants to know.
struct Running {
  Mutex mutex;
  CondVar changed;
  int count GUARDED_BY(mutex) = 0;

  void add(int change) {
    const std::lock_guard lock(mutex);
    count += change;
    changed.notifyOne();
  }
};

Running& running() { return immortal<Running>(); }

void* run(void* argument) {
  std::unique_ptr<Work> given(static_cast<Work*>(argument));
  const Work work = *given;
  given.reset();
  platform_thread_begins();
  work.body(work.argument);
  platform_thread_ends();
  running().add(-1);
  return nullptr;
}

}  // namespace

int start_detached(LibraryThread thread, void* (*body)(void*), void* argument) {
  if (const int fault = platform_thread_fault(thread); fault != 0) return fault;
  std::unique_ptr<Work> work(new (std::nothrow) Work{body, argument});
  if (work == nullptr) return ENOMEM;
  running().add(1);
  pthread_t started{};
  const int error = pthread_create(&started, nullptr, run, work.get());
  if (error != 0) {
    running().add(-1);
    return error;
  }
  work.release();
  return pthread_detach(started);
}

void wait_for_background_work() {
  Running& threads = running();
  const std::lock_guard lock(threads.mutex);
  while (threads.count > 0) threads.changed.wait(threads.mutex);
  threads.changed.notifyOne();  // for the next who waits
}

}  // namespace fcx
