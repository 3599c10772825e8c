// The platform's file labels.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Restores the labels of `path`. 0, or -1 on failure.
int selinux_android_restorecon(const char* path, unsigned int flags);

#ifdef __cplusplus
}
#endif
