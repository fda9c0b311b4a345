#include "util/file_lock.h"

#include <cerrno>
#include <stdexcept>

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#endif

namespace quorvane {

#if defined(_WIN32)

FileLock::FileLock(const std::filesystem::path& file, const std::string& name)
    : handle_(CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE,
                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                          OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
  if (handle_ == INVALID_HANDLE_VALUE) {
    throw std::runtime_error(name + ": cannot be opened to lock the scenario");
  }
  OVERLAPPED whole = {};
  if (!LockFileEx(handle_, LOCKFILE_EXCLUSIVE_LOCK, 0, MAXDWORD, MAXDWORD, &whole)) {
    CloseHandle(handle_);
    throw std::runtime_error(name + ": cannot be locked");
  }
}

FileLock::~FileLock() {
  CloseHandle(handle_);  // releases the lock
}

#else

FileLock::FileLock(const std::filesystem::path& file, const std::string& name)
    : descriptor_(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
  if (descriptor_ < 0) {
    throw std::runtime_error(name + ": cannot be opened to lock the scenario");
  }
  int locked;
  do {
    locked = flock(descriptor_, LOCK_EX);
  } while (locked != 0 && errno == EINTR);
  if (locked != 0) {
    close(descriptor_);
    throw std::runtime_error(name + ": cannot be locked");
  }
}

FileLock::~FileLock() {
  close(descriptor_);  // releases the lock
}

#endif

}  // namespace quorvane
