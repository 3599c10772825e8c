// What a thread has read of the package while a fcx::PackageCache lives on it.
#pragma once

#include <string>
#include <string_view>

#include "common/files.h"
#include "common/lines.h"

namespace fcx {

/// What the file-handle service has of a file. Contents that are not empty are a success, whatever
/// the status says, on purpose; an empty file is none. Without contents the status tells an absent
/// file from one that could not be read.
struct ServiceAnswer {
  Presence presence;
  std::string contents;
};

/// The answer that this thread has had for a path, or null.
const ServiceAnswer* cached_answer(const std::string& path);
/// Keeps an answer for as long as this thread's cache lives, if it has one.
void keep_answer(const std::string& path, const ServiceAnswer& answer);

/// The contents of a file that is opened directly, read once; null without a cache on this thread.
const std::string* cached_contents(const char* path);

/// Notes that a file could not be read, or looked up, for whoever asks this thread's cache.
void note_unreadable(const char* path);

/// Calls `use(line)` with each line of a file that is opened directly, as DeviceFileLines has them,
/// until it returns true. @return whether it did
template <typename Use>
bool any_line(const char* path, size_t longest, Use use) {
  if (const std::string* contents = cached_contents(path)) {
    std::string_view unread = *contents;
    while (const auto line = take_piece(unread, longest)) {
      if (use(*line)) return true;
    }
    return false;
  }
  DeviceFileLines lines(path, longest);
  while (const auto line = lines.next()) {
    if (use(*line)) return true;
  }
  return false;
}

}  // namespace fcx
