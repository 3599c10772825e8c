// GUARDED_BY and what goes with it: Clang checks them (-Wthread-safety), other compilers do not
// know them. The platform's header has them all; here are those that are used.
#pragma once

#if defined(__clang__)
#include <android-base/thread_annotations.h>
#else
#define GUARDED_BY(mutex)
#define NO_THREAD_SAFETY_ANALYSIS
#define PT_GUARDED_BY(mutex)
#define REQUIRES(...)
#define RETURN_CAPABILITY(mutex)
#endif
