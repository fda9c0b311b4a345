#include "simhost/cim_value.h"

#include <cmath>
#include <cwchar>
#include <limits>
#include <utility>

#include "util/case_insensitive.h"

namespace quorvane::sim {
namespace {

struct IntegerRange {
  long double min;
  long double max;
};

std::optional<IntegerRange> RangeOf(CimType type) {
  switch (type) {
    case CimType::UInt8:
      return IntegerRange{0, 255};
    case CimType::SInt8:
      return IntegerRange{-128, 127};
    case CimType::UInt16:
    case CimType::Char16:
      return IntegerRange{0, 65535};
    case CimType::SInt16:
      return IntegerRange{-32768, 32767};
    // uint32 travels as a signed 32-bit integer, so its bit pattern is accepted as well.
    case CimType::UInt32:
      return IntegerRange{-2147483648.0L, 4294967295.0L};
    case CimType::SInt32:
      return IntegerRange{-2147483648.0L, 2147483647.0L};
    case CimType::UInt64:
      return IntegerRange{0, 18446744073709551615.0L};
    case CimType::SInt64:
      return IntegerRange{-9223372036854775808.0L, 9223372036854775807.0L};
    default:
      return std::nullopt;
  }
}

// An integer read from any integer kind or from decimal text, kept wide enough for uint64.
struct WideInteger {
  bool negative = false;
  std::uint64_t magnitude = 0;

  long double AsLongDouble() const {
    return negative ? -static_cast<long double>(magnitude) : static_cast<long double>(magnitude);
  }
};

std::optional<WideInteger> ParseDecimalText(std::wstring_view text) {
  WideInteger out;
  std::size_t i = 0;
  if (!text.empty() && (text[0] == L'-' || text[0] == L'+')) {
    out.negative = text[0] == L'-';
    ++i;
  }
  if (i == text.size()) {
    return std::nullopt;
  }
  for (; i < text.size(); ++i) {
    if (text[i] < L'0' || text[i] > L'9') {
      return std::nullopt;
    }
    const auto digit = static_cast<std::uint64_t>(text[i] - L'0');
    if (out.magnitude > (std::numeric_limits<std::uint64_t>::max() - digit) / 10) {
      return std::nullopt;
    }
    out.magnitude = out.magnitude * 10 + digit;
  }
  if (out.magnitude == 0) {
    out.negative = false;
  }
  return out;
}

std::optional<WideInteger> IntegerOf(const WmiValue& value) {
  const auto signedValue = [](std::int64_t v) {
    WideInteger out;
    out.negative = v < 0;
    out.magnitude = v < 0 ? 0 - static_cast<std::uint64_t>(v) : static_cast<std::uint64_t>(v);
    return out;
  };
  switch (value.Kind()) {
    case WmiKind::UInt8:
    case WmiKind::Int16:
    case WmiKind::Int32:
      return signedValue(value.AsInteger());
    case WmiKind::Boolean:
      return signedValue(value.AsBoolean() ? 1 : 0);
    case WmiKind::String:
      return ParseDecimalText(value.AsWideString());
    default:
      return std::nullopt;
  }
}

std::optional<WmiValue> ToInteger(CimType type, const WmiValue& value) {
  const auto number = IntegerOf(value);
  const auto range = RangeOf(type);
  if (!number || !range || number->AsLongDouble() < range->min ||
      number->AsLongDouble() > range->max) {
    return std::nullopt;
  }
  const std::uint64_t bits =
      number->negative ? 0 - number->magnitude : number->magnitude;  // two's complement
  switch (KindOf(type)) {
    case WmiKind::UInt8:
      return WmiValue::UInt8(static_cast<std::uint8_t>(bits));
    case WmiKind::Int16:
      return WmiValue::Int16(static_cast<std::int16_t>(bits));
    case WmiKind::Int32:
      return WmiValue::Int32(static_cast<std::int32_t>(bits));
    default:
      return WmiValue::String(number->negative ? L"-" + std::to_wstring(number->magnitude)
                                               : std::to_wstring(number->magnitude));
  }
}

std::optional<WmiValue> ToBoolean(const WmiValue& value) {
  if (value.Kind() == WmiKind::Boolean) {
    return value;
  }
  if (value.Kind() == WmiKind::String) {
    const std::wstring text = value.AsWideString();
    if (EqualsNoCase(text, L"true")) {
      return WmiValue::Boolean(true);
    }
    if (EqualsNoCase(text, L"false")) {
      return WmiValue::Boolean(false);
    }
  }
  const auto number = IntegerOf(value);
  return number ? std::optional(WmiValue::Boolean(number->magnitude != 0)) : std::nullopt;
}

std::optional<WmiValue> ToReal(CimType type, const WmiValue& value) {
  double number = 0;
  switch (value.Kind()) {
    case WmiKind::Real32:
      number = std::get<float>(value.Get());
      break;
    case WmiKind::Real64:
      number = std::get<double>(value.Get());
      break;
    case WmiKind::String: {
      const std::wstring text = value.AsWideString();
      wchar_t* end = nullptr;
      number = std::wcstod(text.c_str(), &end);
      if (text.empty() || end != text.c_str() + text.size()) {
        return std::nullopt;
      }
      break;
    }
    default: {
      const auto integer = IntegerOf(value);
      if (!integer) {
        return std::nullopt;
      }
      number = static_cast<double>(integer->AsLongDouble());
    }
  }
  return type == CimType::Real32 ? WmiValue::Real32(static_cast<float>(number))
                                 : WmiValue::Real64(number);
}

template <typename T>
WmiValue CollectAs(const std::vector<WmiValue>& items, T (*get)(const WmiValue&)) {
  std::vector<T> out;
  out.reserve(items.size());
  for (const auto& item : items) {
    out.push_back(get(item));
  }
  return WmiValue::Array(std::move(out));
}

// Builds an array of the member's kind from scalars that already have that kind.
WmiValue MakeArray(WmiKind kind, const std::vector<WmiValue>& items) {
  switch (kind) {
    case WmiKind::Boolean:
      return CollectAs<bool>(items, [](const WmiValue& v) { return std::get<bool>(v.Get()); });
    case WmiKind::UInt8:
      return CollectAs<std::uint8_t>(
          items, [](const WmiValue& v) { return std::get<std::uint8_t>(v.Get()); });
    case WmiKind::Int16:
      return CollectAs<std::int16_t>(
          items, [](const WmiValue& v) { return std::get<std::int16_t>(v.Get()); });
    case WmiKind::Int32:
      return CollectAs<std::int32_t>(
          items, [](const WmiValue& v) { return std::get<std::int32_t>(v.Get()); });
    case WmiKind::Real32:
      return CollectAs<float>(items, [](const WmiValue& v) { return std::get<float>(v.Get()); });
    case WmiKind::Real64:
      return CollectAs<double>(items, [](const WmiValue& v) { return std::get<double>(v.Get()); });
    case WmiKind::Object:
      return CollectAs<WmiObjectPtr>(
          items, [](const WmiValue& v) { return std::get<WmiObjectPtr>(v.Get()); });
    default:
      return CollectAs<std::wstring>(
          items, [](const WmiValue& v) { return std::get<std::wstring>(v.Get()); });
  }
}

}  // namespace

std::optional<WmiValue> CoerceScalar(CimType type, const WmiValue& value) {
  if (value.IsNull()) {
    return value;
  }
  if (value.IsArray()) {
    return std::nullopt;
  }
  switch (type) {
    case CimType::Boolean:
      return ToBoolean(value);
    case CimType::Real32:
    case CimType::Real64:
      return ToReal(type, value);
    case CimType::Object:
      return value.Kind() == WmiKind::Object ? std::optional(value) : std::nullopt;
    case CimType::String:
      // Put turns numbers into their decimal text for a string property.
      if (value.Kind() == WmiKind::UInt8 || value.Kind() == WmiKind::Int16 ||
          value.Kind() == WmiKind::Int32) {
        return WmiValue::String(std::to_wstring(value.AsInteger()));
      }
      return value.Kind() == WmiKind::String ? std::optional(value) : std::nullopt;
    case CimType::Datetime:
    case CimType::Reference:
      return value.Kind() == WmiKind::String ? std::optional(value) : std::nullopt;
    default:
      return ToInteger(type, value);
  }
}

std::optional<WmiValue> CoerceToMember(const MemberDef& member, const WmiValue& value) {
  if (!member.array) {
    return CoerceScalar(member.type, value);
  }
  if (value.IsNull()) {
    return value;
  }
  if (!value.IsArray()) {
    return std::nullopt;
  }
  return CoerceElements(member, value.Elements());
}

std::optional<WmiValue> CoerceToMember(const MemberDef& member, WmiValue&& value) {
  const bool text = member.type == CimType::String || member.type == CimType::Datetime ||
                    member.type == CimType::Reference;
  if (!member.array && text && value.Kind() == WmiKind::String) {
    return std::move(value);
  }
  return CoerceToMember(member, std::as_const(value));
}

std::optional<WmiValue> CoerceElements(const MemberDef& member,
                                       const std::vector<WmiValue>& items) {
  std::vector<WmiValue> converted;
  converted.reserve(items.size());
  for (const auto& item : items) {
    auto one = CoerceScalar(member.type, item);
    if (!one || one->IsNull()) {
      return std::nullopt;
    }
    converted.push_back(std::move(*one));
  }
  return MakeArray(KindOf(member.type), converted);
}

std::wstring ScalarToCimText(CimType type, const WmiValue& value) {
  if (type == CimType::UInt32 && value.Kind() == WmiKind::Int32) {
    return std::to_wstring(static_cast<std::uint32_t>(value.AsInteger()));
  }
  return ScalarToCimText(value);
}

std::wstring ScalarToCimText(const WmiValue& value) {
  switch (value.Kind()) {
    case WmiKind::Boolean:
      return value.AsBoolean() ? L"TRUE" : L"FALSE";
    case WmiKind::UInt8:
    case WmiKind::Int16:
    case WmiKind::Int32:
      return std::to_wstring(value.AsInteger());
    case WmiKind::Real32:
      return std::to_wstring(std::get<float>(value.Get()));
    case WmiKind::Real64:
      return std::to_wstring(std::get<double>(value.Get()));
    case WmiKind::String:
      return value.AsWideString();
    default:
      return L"";
  }
}

std::optional<WmiValue> ScalarFromCimText(CimType type, std::wstring_view text) {
  const MemberDef member{L"", type, false, L""};
  return CoerceToMember(member, WmiValue::String(std::wstring(text)));
}

std::wstring DescribeValue(const WmiValue& value) {
  if (value.IsNull()) {
    return L"<null>";
  }
  if (!value.IsArray()) {
    return value.Kind() == WmiKind::Object ? L"<object>" : ScalarToCimText(value);
  }
  std::wstring out = L"{";
  const auto items = value.Elements();
  for (std::size_t i = 0; i < items.size(); ++i) {
    out += (i ? L", " : L"") + DescribeValue(items[i]);
  }
  return out + L"}";
}

}  // namespace quorvane::sim
