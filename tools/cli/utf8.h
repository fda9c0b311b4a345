#pragma once

#include <string>
#include <string_view>

namespace quorvane::cli {

// UTF-8 from the library's wide text and back, whatever the locale: names in any language are
// printed as they are. Surrogate pairs (wide text of two bytes a character) are joined.
std::string Utf8(std::wstring_view wide);
std::string Utf8(const wchar_t* wide);  // null reads as ""
std::wstring Wide(std::string_view utf8);

// How many columns the text takes on a terminal: one a character (code point).
std::size_t DisplayWidth(std::string_view utf8);

}  // namespace quorvane::cli
