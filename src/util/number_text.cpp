#include "util/number_text.h"

#include <cerrno>
#include <climits>
#include <cwchar>
#include <stdexcept>

namespace quorvane {
namespace {

template <typename Result, typename Convert>
Result Convert10(const std::wstring& text, const char* name, Convert convert) {
  const wchar_t* begin = text.c_str();
  wchar_t* end = nullptr;
  errno = 0;
  const auto value = convert(begin, &end, 10);
  if (end == begin) {
    throw std::invalid_argument(std::string("invalid ") + name + " argument");
  }
  if (errno == ERANGE) {
    throw std::out_of_range(std::string(name) + " argument out of range");
  }
  return static_cast<Result>(value);
}

}  // namespace

std::int64_t Stoll(const std::wstring& text) {
  return Convert10<std::int64_t>(text, "stoll", std::wcstoll);
}

int Stoi(const std::wstring& text) {
  const long value = Convert10<long>(text, "stoi", std::wcstol);
  if (value < INT_MIN || value > INT_MAX) {
    throw std::out_of_range("stoi argument out of range");
  }
  return static_cast<int>(value);
}

unsigned long Stoul(const std::wstring& text) {
  return Convert10<unsigned long>(text, "stoul", std::wcstoul);
}

}  // namespace quorvane
