// The platform's wake locks.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

enum { PARTIAL_WAKE_LOCK = 1 };

/// Keeps the device awake under the name `id` until it is released. 0 or more on success.
int acquire_wake_lock(int lock, const char* id);
int release_wake_lock(const char* id);

#ifdef __cplusplus
}
#endif
