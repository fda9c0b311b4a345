#include "wmi/wmi_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quorvane/exceptions.h"

namespace quorvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

void ExpectTypeMismatch(const std::function<void()>& read) {
  try {
    read();
    FAIL() << "expected a type mismatch";
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode(), 0x80041005u);
  }
}

TEST(WmiValueTest, KindsFollowWhatWmiDelivers) {
  EXPECT_EQ(WmiValue().Kind(), WmiKind::Null);
  EXPECT_EQ(WmiValue::UInt64(18446744073709551615ull).Kind(), WmiKind::String);
  EXPECT_EQ(WmiValue::UInt64(18446744073709551615ull).AsWideString(), L"18446744073709551615");
  EXPECT_EQ(WmiValue::SInt64(-5).AsWideString(), L"-5");
  EXPECT_EQ(WmiValue::Array(std::vector<std::wstring>{L"a"}).Kind(), WmiKind::String);
  EXPECT_TRUE(WmiValue::Array(std::vector<std::int32_t>{}).IsArray());
  EXPECT_FALSE(WmiValue::Int32(1).IsArray());
  EXPECT_EQ(WmiValue::Array(std::vector<bool>{true}).Kind(), WmiKind::Boolean);
}

TEST(WmiValueTest, ReadAsIntegerAcceptsEveryIntegerKind) {
  EXPECT_EQ(WmiValue::Int32(-7).AsInteger(), -7);
  EXPECT_EQ(WmiValue::Int16(-300).AsInteger(), -300);
  EXPECT_EQ(WmiValue::UInt8(255).AsInteger(), 255);
  EXPECT_EQ(WmiValue::String(L"2199023255552").AsInteger(), 2199023255552LL);
  EXPECT_EQ(WmiValue::String(L"-9223372036854775808").AsInteger(), INT64_MIN);
  EXPECT_EQ(static_cast<std::uint64_t>(WmiValue::UInt64(UINT64_MAX).AsInteger()), UINT64_MAX);
  for (const auto& bad :
       {WmiValue(), WmiValue::Boolean(true), WmiValue::Real64(1.0), WmiValue::String(L""),
        WmiValue::String(L"12a"), WmiValue::String(L"-"), WmiValue::String(L"18446744073709551616"),
        WmiValue::Array(std::vector<std::int32_t>{1})}) {
    ExpectTypeMismatch([&] { bad.AsInteger(); });
  }
}

TEST(WmiValueTest, NullReadsAsEmptyForTextAndArrays) {
  EXPECT_EQ(WmiValue().AsWideString(), L"");
  EXPECT_THAT(WmiValue().AsWideStringArray(), IsEmpty());
  EXPECT_THAT(WmiValue().AsByteArray(), IsEmpty());
  EXPECT_EQ(WmiValue().AsObject(), nullptr);
  ExpectTypeMismatch([] { WmiValue::Int32(1).AsWideString(); });
  ExpectTypeMismatch([] { WmiValue::String(L"x").AsWideStringArray(); });
  ExpectTypeMismatch([] { WmiValue::Array(std::vector<std::int32_t>{1}).AsByteArray(); });
  ExpectTypeMismatch([] { WmiValue().AsBoolean(); });
}

TEST(WmiValueTest, ArraysReadBack) {
  EXPECT_THAT(WmiValue::Array(std::vector<std::wstring>{L"a", L"b"}).AsWideStringArray(),
              ElementsAre(L"a", L"b"));
  EXPECT_THAT(WmiValue::Array(std::vector<std::uint8_t>{1, 2}).AsByteArray(), ElementsAre(1, 2));
  EXPECT_EQ(WmiValue::Int32(3), WmiValue::Int32(3));
  EXPECT_FALSE(WmiValue::Int32(3) == WmiValue::Int16(3));
}

}  // namespace
}  // namespace quorvane
