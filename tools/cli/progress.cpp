#include "progress.h"

#include <chrono>
#include <cstdio>

#if defined(_WIN32)
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

namespace quorvane::cli {

Progress::Progress(std::string what, bool enabled) : what_(std::move(what)) {
  if (enabled && isatty(2)) {
    thread_ = std::thread([this] { Run(); });
  }
}

Progress::~Progress() {
  if (!thread_.joinable()) {
    return;
  }
  {
    std::lock_guard lock(mutex_);
    done_ = true;
  }
  stop_.notify_one();
  thread_.join();
}

void Progress::Run() {
  std::unique_lock lock(mutex_);
  int seconds = 0;
  while (!stop_.wait_for(lock, std::chrono::seconds(1), [this] { return done_; })) {
    std::fprintf(stderr, "\r%s ... %d s", what_.c_str(), ++seconds);
    std::fflush(stderr);
  }
  if (seconds > 0) {
    std::fprintf(stderr, "\r\033[K");
  }
}

}  // namespace quorvane::cli
