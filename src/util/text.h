#pragma once

#include <string>
#include <string_view>

namespace quorvane {

// UTF-8 <-> wide conversions that work whether wchar_t holds UTF-16 (Windows) or UTF-32.
// Ill-formed input never fails: each bad sequence becomes U+FFFD.
std::string ToUtf8(std::wstring_view wide);
std::wstring FromUtf8(std::string_view utf8);

// A null pointer reads as the empty string.
inline std::wstring WideOrEmpty(const wchar_t* text) {
  return text ? std::wstring(text) : L"";
}

}  // namespace quorvane
