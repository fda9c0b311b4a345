#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorvane {

// UTF-8 <-> wide conversions that work whether wchar_t holds UTF-16 (Windows) or UTF-32.
// Ill-formed input never fails: each bad sequence becomes U+FFFD.
std::string ToUtf8(std::wstring_view wide);
std::wstring FromUtf8(std::string_view utf8);

// Whether every character is ASCII, so that the text fits one byte a character as it is.
inline bool IsAscii(std::wstring_view text) {
  for (const wchar_t c : text) {
    if (static_cast<std::uint32_t>(c) >= 0x80) {
      return false;
    }
  }
  return true;
}

// A null pointer reads as the empty string.
inline std::wstring WideOrEmpty(const wchar_t* text) {
  return text ? std::wstring(text) : L"";
}

}  // namespace quorvane
