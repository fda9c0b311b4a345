#include "simhost/object_path.h"

#include <algorithm>
#include <set>

#include "util/case_insensitive.h"
#include "util/text.h"

namespace quorvane::sim {
namespace {

bool IsNameChar(wchar_t c) {
  return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || (c >= L'0' && c <= L'9') ||
         c == L'_';
}

bool IsSlash(wchar_t c) {
  return c == L'\\' || c == L'/';
}

class PathParser {
 public:
  explicit PathParser(std::wstring_view text) : text_(text) {}

  std::optional<ObjectPath> Parse() {
    ObjectPath path;
    if (!ParsePrefix(path) || !ParseName(path.className)) {
      return std::nullopt;
    }
    if (AtEnd()) {
      return path;
    }
    if (Take(L'=')) {
      if (Take(L'@')) {
        path.singleton = true;
        return AtEnd() ? std::optional(path) : std::nullopt;
      }
      std::wstring value;
      if (!ParseValue(value) || !AtEnd()) {
        return std::nullopt;
      }
      path.keys.emplace_back(L"", std::move(value));
      return path;
    }
    if (!Take(L'.')) {
      return std::nullopt;
    }
    std::set<std::wstring, LessNoCase> named;
    do {
      std::wstring name;
      std::wstring value;
      if (!ParseName(name) || !Take(L'=') || !ParseValue(value) || !named.insert(name).second) {
        return std::nullopt;  // a key given twice names no one object
      }
      path.keys.emplace_back(std::move(name), std::move(value));
    } while (Take(L','));
    return AtEnd() ? std::optional(path) : std::nullopt;
  }

 private:
  // "\\server\namespace:" or "namespace:" (the colon comes before any '.' or '=').
  bool ParsePrefix(ObjectPath& path) {
    if (text_.size() >= 2 && IsSlash(text_[0]) && IsSlash(text_[1])) {
      pos_ = 2;
      const std::size_t start = pos_;
      while (pos_ < text_.size() && !IsSlash(text_[pos_])) {
        ++pos_;
      }
      if (pos_ == start || pos_ == text_.size()) {
        return false;
      }
      path.server = text_.substr(start, pos_ - start);
      ++pos_;
      const std::size_t colon = text_.find(L':', pos_);
      if (colon == std::wstring_view::npos || colon == pos_) {
        return false;
      }
      path.nameSpace = text_.substr(pos_, colon - pos_);
      pos_ = colon + 1;
      return true;
    }
    const std::size_t stop = text_.find_first_of(L":.=\"'");
    if (stop != std::wstring_view::npos && text_[stop] == L':') {
      if (stop == 0) {
        return false;
      }
      path.nameSpace = text_.substr(0, stop);
      pos_ = stop + 1;
    }
    return true;
  }

  bool ParseName(std::wstring& out) {
    const std::size_t start = pos_;
    while (pos_ < text_.size() && IsNameChar(text_[pos_])) {
      ++pos_;
    }
    out = text_.substr(start, pos_ - start);
    return !out.empty();
  }

  bool ParseValue(std::wstring& out) {
    if (pos_ < text_.size() && (text_[pos_] == L'"' || text_[pos_] == L'\'')) {
      const wchar_t quote = text_[pos_++];
      while (pos_ < text_.size() && text_[pos_] != quote) {
        if (text_[pos_] == L'\\' && pos_ + 1 < text_.size()) {
          ++pos_;
        }
        out.push_back(text_[pos_++]);
      }
      return Take(quote);
    }
    const std::size_t start = pos_;
    while (pos_ < text_.size() && text_[pos_] != L',') {
      ++pos_;
    }
    out = text_.substr(start, pos_ - start);
    return !out.empty();
  }

  bool Take(wchar_t c) {
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }

  bool AtEnd() const { return pos_ == text_.size(); }

  std::wstring_view text_;
  std::size_t pos_ = 0;
};

void SortKeys(std::vector<std::pair<std::wstring, std::wstring>>& keys) {
  std::sort(keys.begin(), keys.end(),
            [](const auto& a, const auto& b) { return CompareNoCase(a.first, b.first) < 0; });
}

}  // namespace

std::optional<ObjectPath> ParseObjectPath(std::wstring_view text) {
  return PathParser(text).Parse();
}

std::wstring FormatRelativePath(std::wstring_view className,
                                std::vector<std::pair<std::wstring, std::wstring>> keys) {
  SortKeys(keys);
  std::wstring out(className);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    out += i == 0 ? L"." : L",";
    out += keys[i].first + L"=" + QuotedLiteral(keys[i].second);
  }
  return out;
}

std::wstring FormatFullPath(std::wstring_view server, std::wstring_view nameSpace,
                            std::wstring_view relativePath) {
  std::wstring out = L"\\\\";
  out += server;
  out += L"\\";
  out += nameSpace;
  out += L":";
  out += relativePath;
  return out;
}

std::wstring PathIdentity(const ObjectPath& path) {
  auto keys = path.keys;
  for (auto& [name, value] : keys) {
    name = ToLower(name);
    // Keys of associations are paths themselves; they may be written in any form too. A path
    // names its keys with '=', which plain identifiers lack.
    const auto nested =
        value.find(L'=') == std::wstring::npos ? std::nullopt : ParseObjectPath(value);
    value = nested && !nested->keys.empty() ? PathIdentity(*nested) : ToLower(value);
  }
  return JoinIdentity(path.className, path.singleton, std::move(keys));
}

std::wstring JoinIdentity(std::wstring_view className, bool singleton,
                          std::vector<std::pair<std::wstring, std::wstring>> keys) {
  SortKeys(keys);
  std::wstring out = ToLower(className);
  out += singleton ? L"=@" : L"";
  for (const auto& [name, value] : keys) {
    out += L"|" + name + L"=" + value;
  }
  return out;
}

}  // namespace quorvane::sim
