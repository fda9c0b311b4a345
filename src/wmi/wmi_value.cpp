#include "wmi/wmi_value.h"

#include <limits>

#include "errors/status.h"

namespace quorvane {
namespace {

constexpr WmiKind kKindByIndex[] = {
    WmiKind::Null,   WmiKind::Boolean, WmiKind::UInt8,  WmiKind::Int16,  WmiKind::Int32,
    WmiKind::Real32, WmiKind::Real64,  WmiKind::String, WmiKind::Object, WmiKind::Boolean,
    WmiKind::UInt8,  WmiKind::Int16,   WmiKind::Int32,  WmiKind::Real32, WmiKind::Real64,
    WmiKind::String, WmiKind::Object,
};
static_assert(std::size(kKindByIndex) == std::variant_size_v<WmiValue::Storage>);
constexpr std::size_t kFirstArrayIndex = 9;

[[noreturn]] void ThrowTypeMismatch() {
  ThrowForStatus(status::kWbemTypeMismatch, WmiMessageText(status::kWbemTypeMismatch));
}

// Strict decimal: an optional sign and at least one digit, nothing else. Values up to
// 2^64-1 are accepted and keep their bits, as uint64 properties arrive this way.
std::int64_t ParseDecimal(const std::wstring& text) {
  std::size_t i = 0;
  const bool negative = !text.empty() && text[0] == L'-';
  if (!text.empty() && (text[0] == L'-' || text[0] == L'+')) {
    ++i;
  }
  if (i == text.size()) {
    ThrowTypeMismatch();
  }
  std::uint64_t value = 0;
  for (; i < text.size(); ++i) {
    if (text[i] < L'0' || text[i] > L'9') {
      ThrowTypeMismatch();
    }
    const auto digit = static_cast<std::uint64_t>(text[i] - L'0');
    if (value > (std::numeric_limits<std::uint64_t>::max() - digit) / 10) {
      ThrowTypeMismatch();
    }
    value = value * 10 + digit;
  }
  if (negative) {
    if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + 1) {
      ThrowTypeMismatch();
    }
    return static_cast<std::int64_t>(0 - value);
  }
  return static_cast<std::int64_t>(value);
}

}  // namespace

WmiKind WmiValue::Kind() const {
  return kKindByIndex[storage_.index()];
}

bool WmiValue::IsArray() const {
  return storage_.index() >= kFirstArrayIndex;
}

std::wstring WmiValue::AsWideString() const {
  if (IsNull()) {
    return {};
  }
  if (const auto* text = std::get_if<std::wstring>(&storage_)) {
    return *text;
  }
  ThrowTypeMismatch();
}

std::int64_t WmiValue::AsInteger() const {
  if (const auto* v = std::get_if<std::int32_t>(&storage_)) {
    return *v;
  }
  if (const auto* v = std::get_if<std::int16_t>(&storage_)) {
    return *v;
  }
  if (const auto* v = std::get_if<std::uint8_t>(&storage_)) {
    return *v;
  }
  if (const auto* v = std::get_if<std::wstring>(&storage_)) {
    return ParseDecimal(*v);
  }
  ThrowTypeMismatch();
}

bool WmiValue::AsBoolean() const {
  if (const auto* v = std::get_if<bool>(&storage_)) {
    return *v;
  }
  ThrowTypeMismatch();
}

std::vector<std::wstring> WmiValue::AsWideStringArray() const {
  if (IsNull()) {
    return {};
  }
  if (const auto* v = std::get_if<std::vector<std::wstring>>(&storage_)) {
    return *v;
  }
  ThrowTypeMismatch();
}

std::vector<std::uint8_t> WmiValue::AsByteArray() const {
  if (IsNull()) {
    return {};
  }
  if (const auto* v = std::get_if<std::vector<std::uint8_t>>(&storage_)) {
    return *v;
  }
  ThrowTypeMismatch();
}

std::vector<WmiValue> WmiValue::Elements() const {
  std::vector<WmiValue> out;
  std::visit(
      [&out](const auto& stored) {
        using T = std::decay_t<decltype(stored)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
        } else if constexpr (requires { stored.begin(); } && !std::is_same_v<T, std::wstring>) {
          for (const auto& item : stored) {
            out.emplace_back(WmiValue::Storage(static_cast<typename T::value_type>(item)));
          }
        } else {
          out.emplace_back(WmiValue::Storage(stored));
        }
      },
      storage_);
  return out;
}

WmiObjectPtr WmiValue::AsObject() const {
  if (IsNull()) {
    return nullptr;
  }
  if (const auto* v = std::get_if<WmiObjectPtr>(&storage_)) {
    return *v;
  }
  ThrowTypeMismatch();
}

}  // namespace quorvane
