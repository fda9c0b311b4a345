#pragma once

#include <filesystem>
#include <string>

namespace quorvane {

// Holds, for its lifetime, the exclusive lock of `file`, made when missing and left in place, so
// that processes that lock the same file take their turns. Raises std::runtime_error naming
// `name` when the file cannot be opened or locked.
class FileLock {
 public:
  FileLock(const std::filesystem::path& file, const std::string& name);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
#if defined(_WIN32)
  void* handle_;
#else
  int descriptor_;
#endif
};

}  // namespace quorvane
