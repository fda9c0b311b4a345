#include "util/file_replace.h"

#include <cstdio>
#include <random>
#include <system_error>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace quorvane {
namespace {

bool FlushToDisk(std::FILE* stream) {
  if (std::fflush(stream) != 0) {
    return false;
  }
#ifdef _WIN32
  return _commit(_fileno(stream)) == 0;
#else
  return fsync(fileno(stream)) == 0;
#endif
}

// A name beside `file` that no other saver picks: the rename is atomic only within one folder.
std::filesystem::path TemporaryBeside(const std::filesystem::path& file) {
  std::random_device random;
  const unsigned long long tag = (static_cast<unsigned long long>(random()) << 32) ^ random();
  std::filesystem::path temporary = file;
  temporary += ".saving-" + std::to_string(tag);
  return temporary;
}

bool WriteWhole(const std::filesystem::path& file, std::string_view text) {
#ifdef _WIN32
  std::FILE* stream = _wfopen(file.c_str(), L"wb");
#else
  std::FILE* stream = std::fopen(file.c_str(), "wb");
#endif
  if (stream == nullptr) {
    return false;
  }
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stream) == text.size() && FlushToDisk(stream);
  return std::fclose(stream) == 0 && written;
}

}  // namespace

bool ReplaceFileContents(const std::filesystem::path& file, std::string_view text) {
  const std::filesystem::path temporary = TemporaryBeside(file);
  std::error_code error;
  if (!WriteWhole(temporary, text)) {
    std::filesystem::remove(temporary, error);
    return false;
  }
  std::filesystem::rename(temporary, file, error);
  if (error) {
    std::filesystem::remove(temporary, error);
    return false;
  }
  return true;
}

}  // namespace quorvane
