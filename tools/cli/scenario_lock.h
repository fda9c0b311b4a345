#pragma once

#include <string>

#include "util/file_lock.h"

namespace quorvane::cli {

// Holds, for its lifetime, the exclusive lock of a scenario that a run will write back: a second
// run that saves the same scenario waits until the first has saved, then reads what it saved.
// The lock is taken on "<scenario>.lock" beside it, which stays, so that every run locks the
// same file whatever renames the scenario goes through.
class ScenarioLock {
 public:
  explicit ScenarioLock(const std::string& scenario);

 private:
  FileLock lock_;
};

}  // namespace quorvane::cli
