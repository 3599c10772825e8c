// The two tags under which the library writes to the system log buffer.
#pragma once

#include <log/log.h>

// Command handlers and the dispatcher.
#define HANDLER_INFO(...) FCX_LOG_(ANDROID_LOG_INFO, "Diag_Lib", __VA_ARGS__)
#define HANDLER_ERROR(...) FCX_LOG_(ANDROID_LOG_ERROR, "Diag_Lib", __VA_ARGS__)

// Everything below them.
#define DOMAIN_INFO(...) FCX_LOG_(ANDROID_LOG_INFO, "Fcx", __VA_ARGS__)
#define DOMAIN_ERROR(...) FCX_LOG_(ANDROID_LOG_ERROR, "Fcx", __VA_ARGS__)

// Macros, so that the compiler checks each format against its arguments.
#define FCX_LOG_(priority, tag, ...) \
  static_cast<void>(__android_log_buf_print(LOG_ID_SYSTEM, priority, tag, __VA_ARGS__))
