#include "simhost/cim_value.h"

#include <gtest/gtest.h>

namespace quorvane::sim {
namespace {

std::optional<WmiValue> Put(CimType type, const WmiValue& value, bool array = false) {
  return CoerceToMember(MemberDef{L"P", type, array, L""}, value);
}

TEST(CimValueTest, IntegersKeepTheirRangeAndTravelKinds) {
  EXPECT_EQ(Put(CimType::UInt8, WmiValue::Int32(255)), WmiValue::UInt8(255));
  EXPECT_FALSE(Put(CimType::UInt8, WmiValue::Int32(256)));
  EXPECT_FALSE(Put(CimType::SInt8, WmiValue::Int32(-129)));
  EXPECT_EQ(Put(CimType::SInt8, WmiValue::Int32(-128)), WmiValue::Int16(-128));
  EXPECT_EQ(Put(CimType::UInt16, WmiValue::Int32(65535)), WmiValue::Int32(65535));
  EXPECT_FALSE(Put(CimType::UInt16, WmiValue::Int32(-1)));
  // uint32 travels as a signed 32-bit integer: its bit pattern is accepted both ways.
  EXPECT_EQ(Put(CimType::UInt32, WmiValue::String(L"4294967295")), WmiValue::Int32(-1));
  EXPECT_EQ(Put(CimType::UInt32, WmiValue::Int32(-1)), WmiValue::Int32(-1));
  EXPECT_EQ(ScalarToCimText(CimType::UInt32, WmiValue::Int32(-1)), L"4294967295");
  EXPECT_EQ(Put(CimType::UInt64, WmiValue::Int32(7)), WmiValue::String(L"7"));
  EXPECT_EQ(Put(CimType::UInt64, WmiValue::String(L"18446744073709551615")),
            WmiValue::String(L"18446744073709551615"));
  EXPECT_FALSE(Put(CimType::UInt64, WmiValue::String(L"-1")));
  EXPECT_FALSE(Put(CimType::UInt64, WmiValue::String(L"18446744073709551616")));
  EXPECT_EQ(Put(CimType::SInt64, WmiValue::String(L"-9223372036854775808")),
            WmiValue::String(L"-9223372036854775808"));
  EXPECT_FALSE(Put(CimType::SInt32, WmiValue::String(L"12abc")));
}

TEST(CimValueTest, BooleansStringsAndObjects) {
  EXPECT_EQ(Put(CimType::Boolean, WmiValue::String(L"1")), WmiValue::Boolean(true));
  EXPECT_EQ(Put(CimType::Boolean, WmiValue::String(L"FALSE")), WmiValue::Boolean(false));
  EXPECT_EQ(Put(CimType::Boolean, WmiValue::Int32(0)), WmiValue::Boolean(false));
  EXPECT_FALSE(Put(CimType::Boolean, WmiValue::String(L"yes")));
  EXPECT_EQ(Put(CimType::String, WmiValue::Int32(4)), WmiValue::String(L"4"));
  EXPECT_FALSE(Put(CimType::String, WmiValue::Boolean(true)));
  EXPECT_FALSE(Put(CimType::Datetime, WmiValue::Int32(4)));
  EXPECT_FALSE(Put(CimType::Object, WmiValue::String(L"<INSTANCE/>")));
  EXPECT_EQ(Put(CimType::Real64, WmiValue::String(L"1.5")), WmiValue::Real64(1.5));
  EXPECT_TRUE(Put(CimType::String, WmiValue())->IsNull());
}

TEST(CimValueTest, ArraysConvertElementByElement) {
  EXPECT_EQ(Put(CimType::UInt16, WmiValue::Array(std::vector<std::wstring>{L"2", L"3"}), true),
            WmiValue::Array(std::vector<std::int32_t>{2, 3}));
  EXPECT_FALSE(Put(CimType::UInt16, WmiValue::Array(std::vector<std::wstring>{L"2", L"x"}), true));
  EXPECT_FALSE(Put(CimType::UInt16, WmiValue::Int32(2), true)) << "a scalar is not an array";
  EXPECT_FALSE(Put(CimType::UInt16, WmiValue::Array(std::vector<std::int32_t>{2})))
      << "an array is not a scalar";
  EXPECT_EQ(DescribeValue(WmiValue::Array(std::vector<std::wstring>{L"a", L"b"})), L"{a, b}");
  EXPECT_EQ(DescribeValue(WmiValue()), L"<null>");
}

}  // namespace
}  // namespace quorvane::sim
