#pragma once

#include <cstdint>
#include <string>

namespace quorvane {

// Decimal conversions with the standard library's rules (leading white space, an optional
// sign, digits up to the first non-digit). Failures raise std::invalid_argument and
// std::out_of_range with the texts hosts know from the Windows runtime ("invalid stoll
// argument", "stoll argument out of range", and the same for stoi and stoul), on every platform.
std::int64_t Stoll(const std::wstring& text);
int Stoi(const std::wstring& text);
unsigned long Stoul(const std::wstring& text);

}  // namespace quorvane
