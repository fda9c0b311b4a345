#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "util/text.h"

namespace quorvane::fuzz {

// The input as the text the parser under test reads: UTF-8, with bytes that are not UTF-8
// decoded as the library decodes them.
inline std::wstring WideText(const std::uint8_t* data, std::size_t size) {
  return FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
}

}  // namespace quorvane::fuzz
