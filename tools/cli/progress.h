#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace quorvane::cli {

// While an operation waits on Hyper-V, says on stderr what it waits for and for how long, once
// a second. Silent when stderr is not a terminal or the output is JSON.
class Progress {
 public:
  Progress(std::string what, bool enabled);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Run();

  std::string what_;
  std::mutex mutex_;
  std::condition_variable stop_;
  bool done_ = false;
  std::thread thread_;
};

}  // namespace quorvane::cli
