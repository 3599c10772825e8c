#include "tools/progress.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "tools/text.h"

namespace cli {

Progress::Progress(std::function<std::string()> doing) : doing_(std::move(doing)) {
  if (isatty(STDERR_FILENO) != 0) ticker_ = std::thread([this] { tick(); });
}

Progress::~Progress() {
  if (!ticker_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  changed_.notify_all();
  ticker_.join();
  fputs("\r\033[K", stderr);
}

void Progress::tick() {
  std::unique_lock lock(mutex_);
  for (int seconds = 0; !is_over_; ++seconds) {
    // Whatever is being done is said in one line, and moves nothing on the terminal.
    std::string doing = shown(doing_());
    std::replace_if(
        doing.begin(), doing.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
    fprintf(stderr, "\r\033[K%s: %d s", doing.c_str(), seconds);
    changed_.wait_for(lock, std::chrono::seconds(1), [this] { return is_over_; });
  }
}

}  // namespace cli
