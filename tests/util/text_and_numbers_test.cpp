#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/platform.h"
#include "util/number_text.h"
#include "util/text.h"

namespace quorvane {
namespace {

TEST(TextTest, Utf8RoundTripsAndReplacesBrokenSequences) {
  const std::wstring wide = L"caf\u00e9 \u20ac \U0001F600";
  EXPECT_EQ(FromUtf8(ToUtf8(wide)), wide);
  EXPECT_EQ(ToUtf8(L"\u00e9"), "\xc3\xa9");
  EXPECT_EQ(FromUtf8("a\xff"
                     "b"),
            L"a\uFFFDb");
  EXPECT_EQ(FromUtf8("\xc3"), L"\uFFFD");          // cut short
  EXPECT_EQ(FromUtf8("\xc0\xaf"), L"\uFFFD");      // overlong
  EXPECT_EQ(FromUtf8("\xed\xa0\x80"), L"\uFFFD");  // a surrogate
  EXPECT_EQ(WideOrEmpty(nullptr), L"");
}

template <typename Exception>
std::string WhatOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Exception& e) {
    return e.what();
  }
  return "";
}

TEST(NumberTextTest, StandardRulesWithTheWindowsTexts) {
  EXPECT_EQ(Stoll(L" 12abc"), 12);
  EXPECT_EQ(Stoll(L"-4096"), -4096);
  EXPECT_EQ(WhatOf<std::invalid_argument>([] { Stoll(L"abc"); }), "invalid stoll argument");
  EXPECT_EQ(WhatOf<std::out_of_range>([] { Stoll(L"99999999999999999999"); }),
            "stoll argument out of range");
  EXPECT_EQ(Stoi(L"7"), 7);
  EXPECT_EQ(WhatOf<std::invalid_argument>([] { Stoi(L""); }), "invalid stoi argument");
  EXPECT_EQ(WhatOf<std::out_of_range>([] { Stoi(L"4294967296"); }), "stoi argument out of range");
  EXPECT_EQ(Stoul(L"1"), 1u);
  EXPECT_EQ(WhatOf<std::invalid_argument>([] { Stoul(L"x"); }), "invalid stoul argument");
}

// Identifiers the library makes (a new adapter's) are random GUIDs, version 4 and variant 1.
TEST(NewGuidTextTest, RandomVersionFourGuids) {
  const std::wstring first = platform::NewGuidText();
  ASSERT_EQ(first.size(), 36u);
  for (const std::size_t dash : {8u, 13u, 18u, 23u}) {
    EXPECT_EQ(first[dash], L'-') << "at " << dash;
  }
  EXPECT_EQ(first[14], L'4');
  EXPECT_NE(std::wstring(L"89abAB").find(first[19]), std::wstring::npos);
  EXPECT_NE(platform::NewGuidText(), first);
}

}  // namespace
}  // namespace quorvane
