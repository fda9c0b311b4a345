#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvane::sim {

// A WMI object path: [\\server\namespace:]Class[.Key="value",...|="value"|=@].
struct ObjectPath {
  std::wstring server;
  std::wstring nameSpace;
  std::wstring className;
  // Key bindings as written, values unescaped. A single unnamed key has an empty name.
  std::vector<std::pair<std::wstring, std::wstring>> keys;
  bool singleton = false;

  bool IsClassPath() const { return keys.empty() && !singleton; }
};

// Accepts what WMI accepts: either quote style, backslash escapes, forward or back slashes
// before the server, any key order and any case. Nothing for text that is not a path.
std::optional<ObjectPath> ParseObjectPath(std::wstring_view text);

// The relative path as WMI writes it: keys in alphabetical order, values in double quotes with
// backslashes and quotes escaped.
std::wstring FormatRelativePath(std::wstring_view className,
                                std::vector<std::pair<std::wstring, std::wstring>> keys);

// "\\SERVER\namespace:" + relative path.
std::wstring FormatFullPath(std::wstring_view server, std::wstring_view nameSpace,
                            std::wstring_view relativePath);

// One text per object regardless of how its path was written (case, quotes, key order, server
// and namespace prefix), for comparing paths.
std::wstring PathIdentity(const ObjectPath& path);
// The identity text from a class name and its keys, names in lower case and values already
// in identity form (lower case, or a nested path's identity).
std::wstring JoinIdentity(std::wstring_view className, bool singleton,
                          std::vector<std::pair<std::wstring, std::wstring>> keys);

}  // namespace quorvane::sim
