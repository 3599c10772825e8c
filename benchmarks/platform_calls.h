// What a piece of work asks of the platform, so that it can be asked once more without the work.
//
// A program that has this sees the platform's functions through it: files, properties, factory
// items, the log, the modem and the system side. Recorded are the calls of one thread, with their
// arguments; what the platform calls for its part belongs to its call. Not recorded is what has no
// effect beyond its caller's memory, and the start of threads. Nothing waits for a disk, and nobody
// sleeps.
#pragma once

#include <functional>
#include <vector>

namespace bench {

using PlatformCalls = std::vector<std::function<void()>>;

/// Does the work once. Its calls, in their order, can be made again as long as the phone is left as
/// the work leaves it: files are opened under the same descriptors.
PlatformCalls record_platform_calls(const std::function<void()>& work);

/// While one lives, the threads that this one starts do not run, and their start costs nothing: it
/// is the noisiest of all calls. Then their work is done on this one.
class HeldThreads {
 public:
  HeldThreads();
  ~HeldThreads();
  HeldThreads(const HeldThreads&) = delete;
  HeldThreads& operator=(const HeldThreads&) = delete;
};

/// From now on the system side's service is seen, too. Once there is a phone.
void watch_system_side();

}  // namespace bench
