#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace quorvane {

class IWmiObject;
using WmiObjectPtr = std::shared_ptr<IWmiObject>;

// The kinds in which WMI hands values over. 64-bit integers, datetimes and references arrive
// as text; uint32, sint32 and uint16 as 32-bit signed integers; sint8, sint16 and char16 as
// 16-bit integers; uint8 as a byte.
enum class WmiKind : std::uint8_t {
  Null,
  Boolean,
  UInt8,
  Int16,
  Int32,
  Real32,
  Real64,
  String,
  Object
};

// One WMI property or parameter value: null, a scalar, or an array of one kind.
class WmiValue {
 public:
  using Storage =
      std::variant<std::monostate, bool, std::uint8_t, std::int16_t, std::int32_t, float, double,
                   std::wstring, WmiObjectPtr, std::vector<bool>, std::vector<std::uint8_t>,
                   std::vector<std::int16_t>, std::vector<std::int32_t>, std::vector<float>,
                   std::vector<double>, std::vector<std::wstring>, std::vector<WmiObjectPtr>>;

  WmiValue() = default;
  explicit WmiValue(Storage storage) : storage_(std::move(storage)) {}

  static WmiValue Null() { return WmiValue(); }
  static WmiValue Boolean(bool v) { return WmiValue(Storage(v)); }
  static WmiValue UInt8(std::uint8_t v) { return WmiValue(Storage(v)); }
  static WmiValue Int16(std::int16_t v) { return WmiValue(Storage(v)); }
  static WmiValue Int32(std::int32_t v) { return WmiValue(Storage(v)); }
  static WmiValue Real32(float v) { return WmiValue(Storage(v)); }
  static WmiValue Real64(double v) { return WmiValue(Storage(v)); }
  static WmiValue String(std::wstring v) { return WmiValue(Storage(std::move(v))); }
  static WmiValue Object(WmiObjectPtr v) { return WmiValue(Storage(std::move(v))); }
  // 64-bit integers travel as decimal text.
  static WmiValue UInt64(std::uint64_t v) { return String(std::to_wstring(v)); }
  static WmiValue SInt64(std::int64_t v) { return String(std::to_wstring(v)); }
  template <typename T>
  static WmiValue Array(std::vector<T> values) {
    return WmiValue(Storage(std::move(values)));
  }

  WmiKind Kind() const;
  bool IsArray() const;
  bool IsNull() const { return std::holds_alternative<std::monostate>(storage_); }
  const Storage& Get() const { return storage_; }

  // Text of a string value; a null value reads as "". Other kinds raise a type mismatch.
  std::wstring AsWideString() const;
  // Any integer kind, or decimal text (how 64-bit integers arrive). Raises a type mismatch for
  // null, non-integers and text that is not a decimal number.
  std::int64_t AsInteger() const;
  bool AsBoolean() const;
  // A string array; null reads as an empty array.
  std::vector<std::wstring> AsWideStringArray() const;
  // A byte array; null reads as an empty array.
  std::vector<std::uint8_t> AsByteArray() const;
  // The elements of an array as scalars; a scalar gives itself and null gives nothing.
  std::vector<WmiValue> Elements() const;
  // An embedded object; null reads as an empty pointer.
  WmiObjectPtr AsObject() const;

  friend bool operator==(const WmiValue& a, const WmiValue& b) { return a.storage_ == b.storage_; }

 private:
  Storage storage_;
};

}  // namespace quorvane
