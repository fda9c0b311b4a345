#include "simhost/stored_values.h"

#include <algorithm>

#include "util/text.h"

namespace quorvane::sim {

StoredValues::Held StoredValues::Compact(WmiValue value) {
  if (const auto* text = std::get_if<std::wstring>(&value.Get()); text && IsAscii(*text)) {
    return std::string(text->begin(), text->end());
  }
  if (const auto* texts = std::get_if<std::vector<std::wstring>>(&value.Get())) {
    if (std::all_of(texts->begin(), texts->end(), [](const auto& t) { return IsAscii(t); })) {
      std::vector<std::string> narrow;
      narrow.reserve(texts->size());
      for (const auto& text : *texts) {
        narrow.emplace_back(text.begin(), text.end());
      }
      return narrow;
    }
  }
  return value;
}

WmiValue StoredValues::Expand(const Held& held) {
  if (const auto* text = std::get_if<std::string>(&held)) {
    return WmiValue::String(std::wstring(text->begin(), text->end()));
  }
  if (const auto* texts = std::get_if<std::vector<std::string>>(&held)) {
    std::vector<std::wstring> wide;
    wide.reserve(texts->size());
    for (const auto& text : *texts) {
      wide.emplace_back(text.begin(), text.end());
    }
    return WmiValue::Array(std::move(wide));
  }
  return std::get<WmiValue>(held);
}

std::vector<StoredValues::Entry>::const_iterator StoredValues::Position(
    std::wstring_view name) const {
  return std::lower_bound(entries_.begin(), entries_.end(), name, [](const Entry& entry, auto n) {
    return CompareNoCase(entry.member->name, n) < 0;
  });
}

const StoredValues::Entry* StoredValues::Find(std::wstring_view name) const {
  const auto found = Position(name);
  return found != entries_.end() && EqualsNoCase(found->member->name, name) ? &*found : nullptr;
}

WmiValue StoredValues::Get(std::wstring_view name) const {
  const Entry* found = Find(name);
  return found != nullptr ? Expand(found->value) : WmiValue();
}

bool StoredValues::Has(std::wstring_view name) const {
  return Find(name) != nullptr;
}

void StoredValues::Set(const MemberDef& member, WmiValue value) {
  const auto found = entries_.begin() + (Position(member.name) - entries_.cbegin());
  const bool held = found != entries_.end() && EqualsNoCase(found->member->name, member.name);
  if (value.IsNull()) {
    if (held) {
      entries_.erase(found);
    }
  } else if (held) {
    *found = Entry{&member, Compact(std::move(value))};
  } else {
    entries_.insert(found, Entry{&member, Compact(std::move(value))});
  }
}

PropertyList StoredValues::List() const {
  PropertyList list;
  list.reserve(entries_.size());
  for (const auto& entry : entries_) {
    list.emplace_back(entry.member->name, Expand(entry.value));
  }
  return list;
}

PropertyMap StoredValues::Map() const {
  PropertyMap map;
  for (const auto& entry : entries_) {
    map.emplace_hint(map.end(), entry.member->name, Expand(entry.value));
  }
  return map;
}

}  // namespace quorvane::sim
