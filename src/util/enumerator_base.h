#pragma once

#include <cstdint>
#include <limits>
#include <vector>

namespace quorvane {

// The cursor every enumerator shares: all bits set before the first element; Next wraps that to
// 0 and otherwise counts on, also past the end, and never back to the start by itself.
template <typename Interface, typename Entry>
class EnumeratorBase : public Interface {
 public:
  static constexpr std::uint64_t kBeforeFirst = std::numeric_limits<std::uint64_t>::max();

  void Release() override { delete this; }

  bool Next() override {
    ++cursor_;
    return cursor_ < entries_.size();
  }

 protected:
  // The entry under the cursor, or null when the cursor is off the list.
  const Entry* Current() const { return cursor_ < entries_.size() ? &entries_[cursor_] : nullptr; }
  void Rewind() { cursor_ = kBeforeFirst; }

  std::vector<Entry> entries_;

 private:
  std::uint64_t cursor_ = 0;
};

// Accessor helpers for the "null or 0 off the list" rule.
template <typename Entry, typename Field>
const wchar_t* TextOf(const Entry* entry, Field field) {
  return entry ? (entry->*field).c_str() : nullptr;
}

template <typename Entry, typename Field>
auto NumberOf(const Entry* entry, Field field) -> std::decay_t<decltype(entry->*field)> {
  return entry ? entry->*field : std::decay_t<decltype(entry->*field)>{};
}

}  // namespace quorvane
