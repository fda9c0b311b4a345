#include "utf8.h"

#include <cstdint>

namespace quorvane::cli {
namespace {

void Append(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

void AppendWide(std::wstring& out, char32_t c) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (c >= 0x10000) {
      c -= 0x10000;
      out += static_cast<wchar_t>(0xD800 + (c >> 10));
      out += static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
      return;
    }
  }
  out += static_cast<wchar_t>(c);
}

constexpr char32_t kReplacement = 0xFFFD;

}  // namespace

std::string Utf8(std::wstring_view wide) {
  std::string out;
  out.reserve(wide.size());
  for (std::size_t i = 0; i < wide.size(); ++i) {
    auto c = static_cast<char32_t>(wide[i]);
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < wide.size()) {
      const auto low = static_cast<char32_t>(wide[i + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      }
    }
    Append(out, (c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF ? kReplacement : c);
  }
  return out;
}

std::string Utf8(const wchar_t* wide) {
  return wide == nullptr ? std::string() : Utf8(std::wstring_view(wide));
}

std::wstring Wide(std::string_view utf8) {
  std::wstring out;
  out.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size();) {
    const auto lead = static_cast<unsigned char>(utf8[i]);
    const int length = lead < 0x80           ? 1
                       : (lead >> 5) == 0x6  ? 2
                       : (lead >> 4) == 0xE  ? 3
                       : (lead >> 3) == 0x1E ? 4
                                             : 0;
    if (length == 0 || i + length > utf8.size()) {
      AppendWide(out, kReplacement);
      ++i;
      continue;
    }
    char32_t c = length == 1 ? lead : lead & (0x7F >> length);
    bool valid = true;
    for (int k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(utf8[i + k]);
      valid = valid && (next & 0xC0) == 0x80;
      c = (c << 6) | (next & 0x3F);
    }
    AppendWide(out, valid ? c : kReplacement);
    i += valid ? length : 1;
  }
  return out;
}

std::size_t DisplayWidth(std::string_view utf8) {
  std::size_t width = 0;
  for (const char c : utf8) {
    width += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }
  return width;
}

}  // namespace quorvane::cli
