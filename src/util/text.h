#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorvane {

// UTF-8 <-> wide conversions that work whether wchar_t holds UTF-16 (Windows) or UTF-32.
// Ill-formed input never fails: each bad sequence becomes U+FFFD.
std::string ToUtf8(std::wstring_view wide);
std::wstring FromUtf8(std::string_view utf8);
// Whether the text is well-formed UTF-8 (no overlong forms, surrogates or values past U+10FFFF).
bool IsValidUtf8(std::string_view utf8);

// Whether every character is ASCII, so that the text fits one byte a character as it is.
inline bool IsAscii(std::wstring_view text) {
  for (const wchar_t c : text) {
    if (static_cast<std::uint32_t>(c) >= 0x80) {
      return false;
    }
  }
  return true;
}

// `text` in double quotes, with each backslash and double quote preceded by a backslash: the
// form of a WQL string literal and of a key value in an object path, which WMI reads back as
// exactly `text`. Every query that holds a caller's text writes it this way, so that no text can
// end the literal and add a condition of its own.
std::wstring QuotedLiteral(std::wstring_view text);

// Whether the text is a GUID as Hyper-V writes identifiers: 8-4-4-4-12 hexadecimal digits, no
// braces.
inline bool IsGuidText(std::wstring_view text) {
  if (text.size() != 36) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    const wchar_t c = text[i];
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const bool hex =
        (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F');
    if (dash ? c != L'-' : !hex) {
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
