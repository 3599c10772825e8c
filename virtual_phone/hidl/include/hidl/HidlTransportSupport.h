// The part of libhidlbase's interface that the library uses.
#pragma once

#include <cstddef>

namespace android::hardware {

/// Prepares the threads that serve this process's HIDL calls.
/// @param callerWillJoin whether the caller adds its own thread to the pool
void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);

}  // namespace android::hardware
