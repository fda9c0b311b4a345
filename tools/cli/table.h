#pragma once

#include <string>
#include <vector>

namespace quorvane::cli {

// A table for people: a header row, then aligned columns separated by two spaces, as UTF-8.
class Table {
 public:
  explicit Table(std::vector<std::string> headers) : headers_(std::move(headers)) {}
  // Control characters in a cell are shown escaped ("\n", "\x1b"), so that no name can break a
  // row or drive the terminal.
  void Add(std::vector<std::string> row);
  bool Empty() const { return rows_.empty(); }
  std::string Render() const;

 private:
  std::vector<std::string> headers_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace quorvane::cli
