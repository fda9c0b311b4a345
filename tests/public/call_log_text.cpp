#include "call_log_text.h"

#include <cctype>
#include <map>
#include <optional>
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

// The text between `open` and `close` from `from` on; npos in `from` when there is none.
std::string Between(const std::string& text, const std::string& open, const std::string& close,
                    std::size_t& from) {
  const auto start = text.find(open, from);
  const auto end = start == std::string::npos ? start : text.find(close, start + open.size());
  if (end == std::string::npos) {
    from = std::string::npos;
    return {};
  }
  from = end + close.size();
  return text.substr(start + open.size(), end - start - open.size());
}

// A property's value as "text", "{a, b}" for an array; nullopt when it has none.
std::optional<std::string> PropertyValue(const std::string& body) {
  std::vector<std::string> values;
  for (std::size_t at = 0;;) {
    std::string value = Between(body, "<VALUE>", "</VALUE>", at);
    if (at == std::string::npos) {
      break;
    }
    values.push_back(std::move(value));
  }
  if (body.find("<VALUE.ARRAY>") != std::string::npos) {
    std::string list = "{";
    for (std::size_t i = 0; i < values.size(); ++i) {
      list += (i == 0 ? "" : ", ") + values[i];
    }
    return list + "}";
  }
  if (values.empty()) {
    return std::nullopt;
  }
  return values.front().empty() ? "\"\"" : values.front();
}

// One CIM-XML instance, the properties that carry a value one a line below its class. The
// system properties other than "__PATH" follow from the class and are left out.
void AppendInstance(const std::string& instance, std::ostringstream& out) {
  std::size_t at = 0;
  out << "    instance of " << Between(instance, "CLASSNAME=\"", "\"", at) << '\n';
  while ((at = instance.find("<PROPERTY", at)) != std::string::npos) {
    const auto nameEnd = instance.find_first_of(" >", at);
    const std::string element = instance.substr(at + 1, nameEnd - at - 1);
    std::size_t nameAt = at;
    const std::string name = Between(instance, "NAME=\"", "\"", nameAt);
    const auto bodyStart = instance.find('>', at) + 1;
    const auto bodyEnd = instance.find("</" + element + ">", bodyStart);
    const auto value = PropertyValue(instance.substr(bodyStart, bodyEnd - bodyStart));
    if (value && (name.rfind("__", 0) != 0 || name == "__PATH")) {
      out << "      " << name << " = " << *value << '\n';
    }
    at = bodyEnd;
  }
}

// An input as it reads in the log; embedded instances, which are long, are written out below it
// property by property, each in its place in the value marked "<instance>".
void AppendInput(const std::string& name, const std::string& value, std::ostringstream& out) {
  static const std::string kOpen = "<INSTANCE ";
  static const std::string kClose = "</INSTANCE>";
  std::string shown;
  std::vector<std::string> instances;
  std::size_t at = 0;
  for (std::size_t start; (start = value.find(kOpen, at)) != std::string::npos;) {
    const auto end = value.find(kClose, start);
    if (end == std::string::npos) {
      break;
    }
    shown += value.substr(at, start - at) + "<instance>";
    instances.push_back(value.substr(start, end + kClose.size() - start));
    at = end + kClose.size();
  }
  out << "  " << name << " = " << shown << value.substr(at) << '\n';
  for (const auto& instance : instances) {
    AppendInstance(instance, out);
  }
}

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
      AppendInput(Ascii(name), Ascii(value), out);
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
