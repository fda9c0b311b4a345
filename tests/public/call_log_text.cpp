#include "call_log_text.h"

#include <cctype>
#include <map>
#include <sstream>

namespace quorvane::testing {
namespace {

// Characters past ASCII as "\u" and their code point, a surrogate pair (wide text of two bytes
// a character, as on Windows) joined into one, so that both bindings write the same text.
std::string Ascii(const std::wstring& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto code = static_cast<std::uint32_t>(text[i]);
    if (code >= 0xD800 && code < 0xDC00 && i + 1 < text.size()) {
      const auto low = static_cast<std::uint32_t>(text[i + 1]);
      if (low >= 0xDC00 && low < 0xE000) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      }
    }
    out += code < 0x80 ? std::string(1, static_cast<char>(code)) : "\\u" + std::to_string(code);
  }
  return out;
}

// Whether a GUID (8-4-4-4-12 hexadecimal digits) starts at `at`.
bool GuidAt(const std::string& text, std::size_t at) {
  static constexpr std::size_t kGroups[] = {8, 4, 4, 4, 12};
  std::size_t position = at;
  for (std::size_t group = 0; group < 5; ++group) {
    for (std::size_t i = 0; i < kGroups[group]; ++i, ++position) {
      if (position >= text.size() || !std::isxdigit(static_cast<unsigned char>(text[position]))) {
        return false;
      }
    }
    if (group < 4 && (position >= text.size() || text[position++] != '-')) {
      return false;
    }
  }
  return true;
}

constexpr std::size_t kGuidLength = 36;

}  // namespace

std::string CallLogText(const std::vector<sim::Call>& calls) {
  std::ostringstream out;
  for (const auto& call : calls) {
    out << call.clockMs << ' ' << Ascii(call.operation) << ' ' << Ascii(call.nameSpace) << ' '
        << Ascii(call.target);
    if (!call.method.empty()) {
      out << ' ' << Ascii(call.method);
    }
    out << '\n';
    for (const auto& [name, value] : call.inputs) {
      out << "  " << Ascii(name) << " = " << Ascii(value) << '\n';
    }
  }
  return out.str();
}

std::string NumberGuids(const std::string& text) {
  std::map<std::string, std::size_t> numbers;
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    if (GuidAt(text, i)) {
      std::string guid = text.substr(i, kGuidLength);
      for (char& c : guid) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
      const auto number = numbers.emplace(guid, numbers.size() + 1).first->second;
      out += "GUID-" + std::to_string(number);
      i += kGuidLength;
    } else {
      out += text[i++];
    }
  }
  return out;
}

}  // namespace quorvane::testing
