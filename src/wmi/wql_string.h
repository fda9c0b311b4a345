#pragma once

#include <string>
#include <string_view>

namespace quorvane {

// `text` as a WQL string literal that holds exactly that text: in double quotes, with each
// backslash and double quote preceded by a backslash, as WMI reads them. Every query that puts
// a caller's text into WQL goes through here, so no text can end the literal and add a
// condition of its own.
std::wstring WqlString(std::wstring_view text);

}  // namespace quorvane
