#pragma once

#include <string>
#include <vector>

namespace quorvane::cli {

// The command line as UTF-8. On Windows the narrow arguments are in the ANSI code page, which
// cannot hold every name, so they are read again as wide text.
class Utf8Arguments {
 public:
  Utf8Arguments(int argc, char** argv);
  int Count() const { return static_cast<int>(pointers_.size()); }
  char** Values() { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

}  // namespace quorvane::cli
