#pragma once

#include <cstddef>
#include <cwctype>
#include <string>
#include <string_view>

namespace quorvane {

inline wchar_t FoldCase(wchar_t c) {
  // Names and identifiers are nearly all ASCII: fold those without asking the C library.
  if (c < 0x80) {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
  }
  return static_cast<wchar_t>(std::towlower(c));
}

// WMI compares class, property and key names, and most strings, without regard to case.
inline bool EqualsNoCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldCase(a[i]) != FoldCase(b[i])) {
      return false;
    }
  }
  return true;
}

inline int CompareNoCase(std::wstring_view a, std::wstring_view b) {
  const std::size_t n = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < n; ++i) {
    const wchar_t x = FoldCase(a[i]);
    const wchar_t y = FoldCase(b[i]);
    if (x != y) {
      return x < y ? -1 : 1;
    }
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

inline std::wstring ToLower(std::wstring_view text) {
  std::wstring out(text);
  for (auto& c : out) {
    c = FoldCase(c);
  }
  return out;
}

// Hash and equality for unordered containers keyed without regard to case.
struct HashNoCase {
  std::size_t operator()(std::wstring_view text) const {
    std::size_t hash = 14695981039346656037ull;  // FNV-1a
    for (const wchar_t c : text) {
      hash = (hash ^ static_cast<std::size_t>(FoldCase(c))) * 1099511628211ull;
    }
    return hash;
  }
};

struct EqualNoCase {
  bool operator()(std::wstring_view a, std::wstring_view b) const { return EqualsNoCase(a, b); }
};

struct LessNoCase {
  using is_transparent = void;
  bool operator()(std::wstring_view a, std::wstring_view b) const {
    return CompareNoCase(a, b) < 0;
  }
};

}  // namespace quorvane
