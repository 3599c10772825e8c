// Mutex and CondVar.
#include "fcx/sync.h"

#include <cerrno>
#include <limits>
#include <mutex>

#include "common/deadline.h"
#include "platform/thread_annotations.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

TEST(Deadline, CarriesOnlyBeyondAWholeSecond) {
  // A second that is just full is left as it is, on purpose.
  const std::tuple<long, long, int64_t, long> cases[] = {
      {0, 0, 100, 0},
      {999'000'000, 0, 100, 999'000'000},
      {999'000'000, 1, 100, 1'000'000'000},
      {999'000'001, 1, 101, 1},
      {0, 1000, 101, 0},
      {500'000'000, 1500, 101, 1'000'000'000},
      {999'999'999, 999, 101, 998'999'999},
      {5, -1, 100, 5},
      {5, std::numeric_limits<long>::min(), 100, 5},
      {0, 2'147'483'647, 100 + 2'147'483, 647'000'000}};
  for (const auto& [now_ns, milliseconds, seconds, nanoseconds] : cases) {
    timespec now{100, now_ns};
    const timespec deadline = fcx::deadline_after(now, milliseconds);
    EXPECT_EQ(seconds, deadline.tv_sec) << now_ns << " + " << milliseconds;
    EXPECT_EQ(nanoseconds, deadline.tv_nsec) << now_ns << " + " << milliseconds;
  }
}

TEST(Mutex, TryLockTakesAFreeMutexOnly) {
  Mutex mutex;
  if (mutex.tryLock() != 0) FAIL() << "it is free";
  EXPECT_EQ(EBUSY, mutex.tryLock());
  EXPECT_EQ(EBUSY, pthread_mutex_trylock(mutex.nativeHandle()));
  EXPECT_EQ(0, mutex.unlock());
  EXPECT_EQ(0, mutex.lock());
  EXPECT_EQ(0, mutex.unlock());
}

class CondVars : public PhoneTest {};

struct Handshake {
  Mutex mutex;
  CondVar changed;
  bool asked GUARDED_BY(mutex) = false;
  bool answered GUARDED_BY(mutex) = false;
};

void answer(Handshake& handshake) {
  const std::lock_guard lock(handshake.mutex);
  while (!handshake.asked) handshake.changed.wait(handshake.mutex);
  handshake.answered = true;
  handshake.changed.notifyOne();
}

TEST_F(CondVars, ASignalEndsATimedWaitWithOne) {
  Handshake handshake;
  std::thread other(answer, std::ref(handshake));
  {
    const std::lock_guard lock(handshake.mutex);
    handshake.asked = true;
    handshake.changed.notifyOne();
    int signalled = 0;
    while (!handshake.answered) signalled = handshake.changed.wait(handshake.mutex, 60'000);
    EXPECT_EQ(1, signalled);
  }
  other.join();
}

TEST_F(CondVars, ATimeOutIsNotAnError) {
  Mutex mutex;
  CondVar never;
  const std::lock_guard lock(mutex);
  for (const long milliseconds : {1, 0, -5}) EXPECT_EQ(0, never.wait(mutex, milliseconds));
  EXPECT_THAT(lines(), testing::IsEmpty());
}

/// Waits with a mutex that nobody holds: the error that is wanted, and that the compiler would see.
int wait_without_mutex(CondVar& condition, Mutex& mutex) NO_THREAD_SAFETY_ANALYSIS {
  return condition.wait(mutex, 1);
}

TEST_F(CondVars, AnErrorOfATimedWaitIsLoggedWithoutATag) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the data-race checks see the same error";
#endif
  // A mutex that notices who does not hold it.
  Mutex mutex;
  pthread_mutexattr_t checking;
  ASSERT_EQ(0, pthread_mutexattr_init(&checking));
  ASSERT_EQ(0, pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK));
  ASSERT_EQ(0, pthread_mutex_init(mutex.nativeHandle(), &checking));
  CondVar never;
  EXPECT_EQ(0, wait_without_mutex(never, mutex));
  EXPECT_THAT(lines(), testing::ElementsAre("E : CondVar::wait: fail timed wait; error=0x1"));
}

}  // namespace
}  // namespace fcx_test
