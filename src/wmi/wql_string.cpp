#include "wmi/wql_string.h"

namespace quorvane {

std::wstring WqlString(std::wstring_view text) {
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
