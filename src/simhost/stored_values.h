#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "simhost/schema.h"
#include "util/case_insensitive.h"

namespace quorvane::sim {

using PropertyMap = std::map<std::wstring, WmiValue, LessNoCase>;
using PropertyList = std::vector<std::pair<std::wstring, WmiValue>>;

// The values one stored instance holds, kept small: a fleet-sized host holds millions of them.
// Entries are keyed by the schema's member (so the name is not copied into every instance) and
// sorted by name; text that is plain ASCII is kept one byte a character.
class StoredValues {
 public:
  // The value of the property with that name (any case); null when none is held.
  WmiValue Get(std::wstring_view name) const;
  bool Has(std::wstring_view name) const;
  // Holds `value` for the member; a null value drops what was held.
  void Set(const MemberDef& member, WmiValue value);
  void Reserve(std::size_t count) { entries_.reserve(count); }

  // Every value held, under its member's name, in name order.
  PropertyList List() const;
  PropertyMap Map() const;
  template <typename Visit>
  void ForEach(Visit visit) const {
    for (const auto& entry : entries_) {
      visit(*entry.member, Expand(entry.value));
    }
  }

 private:
  using Held = std::variant<WmiValue, std::string, std::vector<std::string>>;
  struct Entry {
    const MemberDef* member;
    Held value;
  };

  static Held Compact(WmiValue value);
  static WmiValue Expand(const Held& held);
  std::vector<Entry>::const_iterator Position(std::wstring_view name) const;
  const Entry* Find(std::wstring_view name) const;

  std::vector<Entry> entries_;
};

}  // namespace quorvane::sim
