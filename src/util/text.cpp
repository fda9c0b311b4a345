#include "util/text.h"

#include <algorithm>
#include <cstdint>

namespace quorvane {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
    cp = kReplacement;
  }
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

void AppendWide(std::wstring& out, char32_t cp) {
  if constexpr (kWideIsUtf16) {
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
      return;
    }
  }
  out.push_back(static_cast<wchar_t>(cp));
}

// Decodes one UTF-8 sequence starting at `i`, advancing `i` past it.
char32_t DecodeUtf8(std::string_view in, std::size_t& i) {
  const auto lead = static_cast<unsigned char>(in[i++]);
  if (lead < 0x80) {
    return lead;
  }
  int extra = 0;
  char32_t cp = 0;
  char32_t minimum = 0;
  if ((lead & 0xE0) == 0xC0) {
    extra = 1, cp = lead & 0x1F, minimum = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    extra = 2, cp = lead & 0x0F, minimum = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    extra = 3, cp = lead & 0x07, minimum = 0x10000;
  } else {
    return kReplacement;
  }
  for (int k = 0; k < extra; ++k) {
    if (i >= in.size() || (static_cast<unsigned char>(in[i]) & 0xC0) != 0x80) {
      return kReplacement;
    }
    cp = (cp << 6) | (static_cast<unsigned char>(in[i++]) & 0x3F);
  }
  if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
    return kReplacement;
  }
  return cp;
}

}  // namespace

std::string ToUtf8(std::wstring_view wide) {
  std::string out;
  out.reserve(wide.size());
  for (std::size_t i = 0; i < wide.size(); ++i) {
    auto cp = static_cast<char32_t>(static_cast<std::make_unsigned_t<wchar_t>>(wide[i]));
    if (kWideIsUtf16 && cp >= 0xD800 && cp <= 0xDBFF && i + 1 < wide.size()) {
      const auto low =
          static_cast<char32_t>(static_cast<std::make_unsigned_t<wchar_t>>(wide[i + 1]));
      if (low >= 0xDC00 && low <= 0xDFFF) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      }
    }
    AppendUtf8(out, cp);
  }
  return out;
}

std::wstring FromUtf8(std::string_view utf8) {
  const bool ascii = std::all_of(utf8.begin(), utf8.end(),
                                 [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (ascii) {
    return std::wstring(utf8.begin(), utf8.end());  // most text is: one character a byte
  }
  std::wstring out;
  out.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size();) {
    AppendWide(out, DecodeUtf8(utf8, i));
  }
  return out;
}

bool IsValidUtf8(std::string_view utf8) {
  static constexpr std::string_view kEncodedReplacement = "\xEF\xBF\xBD";
  for (std::size_t i = 0; i < utf8.size();) {
    const std::size_t start = i;
    if (DecodeUtf8(utf8, i) == kReplacement &&
        utf8.substr(start, i - start) != kEncodedReplacement) {
      return false;
    }
  }
  return true;
}

std::wstring QuotedLiteral(std::wstring_view text) {
  std::wstring literal;
  literal.reserve(text.size() + 2);
  literal.push_back(L'"');
  for (const wchar_t c : text) {
    if (c == L'"' || c == L'\\') {
      literal.push_back(L'\\');
    }
    literal.push_back(c);
  }
  literal.push_back(L'"');
  return literal;
}

}  // namespace quorvane
