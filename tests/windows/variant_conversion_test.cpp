// VARIANT <-> value conversion without loss, for every kind WMI hands over.
#include "wmi/com/variant_conversion.h"
#include "quorvane/exceptions.h"

#include <gtest/gtest.h>

namespace quorvane::com {
namespace {

WmiValue RoundTrip(const WmiValue& value) {
  ScopedVariant variant;
  ToVariant(value, *variant.get(), [](const WmiObjectPtr&) { return ComPtr<IUnknown>(); });
  return FromVariant(variant.ref(), [](IUnknown*) { return WmiObjectPtr(); });
}

TEST(VariantConversionTest, ScalarsAndArraysSurviveTheTrip) {
  const WmiValue values[] = {
      WmiValue(),
      WmiValue::Boolean(true),
      WmiValue::UInt8(200),
      WmiValue::Int16(-300),
      WmiValue::Int32(-7),
      WmiValue::Real32(1.5f),
      WmiValue::Real64(-2.25),
      WmiValue::String(L"text with \u00e9"),
      WmiValue::UInt64(18446744073709551615ull),
      WmiValue::Array(std::vector<std::wstring>{L"a", L"", L"c"}),
      WmiValue::Array(std::vector<std::uint8_t>{0, 255}),
      WmiValue::Array(std::vector<std::int16_t>{-1, 2}),
      WmiValue::Array(std::vector<std::int32_t>{-1, 2}),
      WmiValue::Array(std::vector<bool>{true, false}),
      WmiValue::Array(std::vector<double>{0.5}),
      WmiValue::Array(std::vector<std::wstring>{}),
  };
  for (const auto& value : values) {
    EXPECT_EQ(RoundTrip(value), value);
  }
}

TEST(VariantConversionTest, KindsOfWhatComHandsOver) {
  ScopedVariant variant;
  variant.get()->vt = VT_UI4;
  variant.get()->ulVal = 0xFFFFFFFFu;
  EXPECT_EQ(FromVariant(variant.ref(), nullptr), WmiValue::Int32(-1));
  ScopedVariant wide;
  wide.get()->vt = VT_UI8;
  wide.get()->ullVal = 42;
  EXPECT_EQ(FromVariant(wide.ref(), nullptr), WmiValue::String(L"42"));
  ScopedVariant unknown;
  unknown.get()->vt = VT_CY;
  EXPECT_THROW(FromVariant(unknown.ref(), nullptr), DefaultException);
}

}  // namespace
}  // namespace quorvane::com
