#include "table.h"

#include <algorithm>

#include "utf8.h"

namespace quorvane::cli {
namespace {

std::string Shown(const std::string& cell) {
  std::string shown;
  for (const char c : cell) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      shown += "\\n";
    } else if (c == '\t') {
      shown += "\\t";
    } else if (c == '\r') {
      shown += "\\r";
    } else if (byte < 0x20 || byte == 0x7F) {
      static constexpr char kHex[] = "0123456789abcdef";
      shown += "\\x";
      shown += kHex[byte >> 4];
      shown += kHex[byte & 0xF];
    } else {
      shown += c;
    }
  }
  return shown;
}

}  // namespace

void Table::Add(std::vector<std::string> row) {
  for (auto& cell : row) {
    cell = Shown(cell);
  }
  rows_.push_back(std::move(row));
}

std::string Table::Render() const {
  std::vector<std::size_t> widths(headers_.size(), 0);
  const auto measure = [&](const std::vector<std::string>& row) {
    for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i) {
      widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
  };
  measure(headers_);
  for (const auto& row : rows_) {
    measure(row);
  }
  std::string out;
  const auto line = [&](const std::vector<std::string>& row) {
    std::string text;
    for (std::size_t i = 0; i < widths.size(); ++i) {
      const std::string cell = i < row.size() ? row[i] : "";
      text += cell;
      if (i + 1 < widths.size()) {
        text.append(widths[i] - DisplayWidth(cell) + 2, ' ');
      }
    }
    text.erase(text.find_last_not_of(' ') + 1);
    out += text + "\n";
  };
  line(headers_);
  for (const auto& row : rows_) {
    line(row);
  }
  return out;
}

}  // namespace quorvane::cli
