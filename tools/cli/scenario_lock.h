#pragma once

#include <string>

namespace quorvane::cli {

// Holds, for its lifetime, the exclusive lock of a scenario that a run will write back: a second
// run that saves the same scenario waits until the first has saved, then reads what it saved.
// The lock is taken on "<scenario>.lock" beside it, which stays, so that every run locks the
// same file whatever renames the scenario goes through.
class ScenarioLock {
 public:
  explicit ScenarioLock(const std::string& scenario);
  ~ScenarioLock();
  ScenarioLock(const ScenarioLock&) = delete;
  ScenarioLock& operator=(const ScenarioLock&) = delete;

 private:
#if defined(_WIN32)
  void* handle_;
#else
  int descriptor_;
#endif
};

}  // namespace quorvane::cli
