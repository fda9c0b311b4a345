#include "wmi/datetime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace quorvane {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kUnixEpochAsFileTime = 11'644'473'600 * kTicksPerSecond;
// 2024-01-02T03:04:05Z
constexpr std::int64_t kJan2 = kUnixEpochAsFileTime + 1'704'164'645 * kTicksPerSecond;

// Sets the process time zone for one test and restores it afterwards.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone) {
    if (const char* old = std::getenv("TZ")) {
      saved_ = old;
    }
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    if (saved_) {
      setenv("TZ", saved_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  std::optional<std::string> saved_;
};

std::int64_t Read(const wchar_t* text) {
  return ReadDatetime(WmiValue::String(text));
}

TEST(ReadDatetimeTest, ZeroOffsetIsTakenAsItStands) {
  const ScopedTimeZone zone("EET-2");  // must not matter for offset 0
  EXPECT_EQ(Read(L"20240102030405.000000+000"), kJan2);
  EXPECT_EQ(Read(L"20240102030405.000000-000"), kJan2);
  EXPECT_EQ(Read(L"20240102030405.123456-000"), kJan2 + 1'234'560);
  EXPECT_EQ(Read(L"16010101000000.000000-000"), 0);
  // 2000 is a leap year (divisible by 400), 1900 is not (by 100 only).
  EXPECT_EQ(Read(L"20000229000000.000000+000"),
            kUnixEpochAsFileTime + 951'782'400 * kTicksPerSecond);
  EXPECT_EQ(Read(L"19000229000000.000000+000"), 0);
}

TEST(ReadDatetimeTest, NonZeroOffsetYieldsTheLocalTimeOfThisMachine) {
  {
    const ScopedTimeZone zone("UTC0");
    EXPECT_EQ(Read(L"20240102030405.000000+060"), kJan2 - 3600 * kTicksPerSecond);
    EXPECT_EQ(Read(L"20240102030405.000000-120"), kJan2 + 7200 * kTicksPerSecond);
  }
  const ScopedTimeZone zone("EET-2");  // two hours east of UTC, no daylight saving
  EXPECT_EQ(Read(L"20240102030405.000000+060"), kJan2 + 3600 * kTicksPerSecond);
}

TEST(ReadDatetimeTest, WildcardFieldsReadAsZero) {
  EXPECT_EQ(Read(L"20240102030405.******+000"), kJan2);
  EXPECT_EQ(Read(L"20240102******.000000+000"), kJan2 - (3 * 3600 + 4 * 60 + 5) * kTicksPerSecond);
  EXPECT_EQ(Read(L"20240102030405.000000+***"), kJan2);
}

TEST(ReadDatetimeTest, AnythingElseGivesZero) {
  EXPECT_EQ(Read(L"20240102030405.000000+00"), 0);    // 24 characters
  EXPECT_EQ(Read(L"20240102030405.000000+0000"), 0);  // 26 characters
  EXPECT_EQ(ReadDatetime(WmiValue::Int32(20240102)), 0);
  EXPECT_EQ(ReadDatetime(WmiValue()), 0);
  EXPECT_EQ(Read(L""), 0);
  EXPECT_EQ(Read(L"20241302030405.000000+000"), 0);  // month 13
  EXPECT_EQ(Read(L"20230229030405.000000+000"), 0);  // not a leap year
  EXPECT_EQ(Read(L"****************************"), 0);
  EXPECT_EQ(Read(L"abcdefghijklmnopqrstuvwxy"), 0);
}

}  // namespace
}  // namespace quorvane
