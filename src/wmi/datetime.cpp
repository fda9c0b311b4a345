#include "wmi/datetime.h"

#include <string>

#include "platform/platform.h"

namespace quorvane {
namespace {

constexpr std::size_t kDatetimeLength = 25;
constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMinute = 60 * kTicksPerSecond;

// A fixed-width decimal field; a field holding the "*" wildcard reads as 0.
int ReadField(const std::wstring& text, std::size_t start, std::size_t width) {
  const std::wstring field = text.substr(start, width);
  if (field.find(L'*') != std::wstring::npos) {
    return 0;
  }
  std::size_t i = 0;
  bool negative = false;
  if (i < field.size() && (field[i] == L'+' || field[i] == L'-')) {
    negative = field[i] == L'-';
    ++i;
  }
  int value = 0;
  for (; i < field.size() && field[i] >= L'0' && field[i] <= L'9'; ++i) {
    value = value * 10 + (field[i] - L'0');
  }
  return negative ? -value : value;
}

bool IsLeapYear(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Days from 1601-01-01 to the given date (proleptic Gregorian calendar).
std::int64_t DaysSince1601(int year, int month, int day) {
  const std::int64_t y = year - 1601;
  std::int64_t days = y * 365 + y / 4 - y / 100 + y / 400;
  for (int m = 1; m < month; ++m) {
    days += DaysInMonth(year, m);
  }
  return days + day - 1;
}

}  // namespace

std::optional<std::int64_t> FileTimeFromFields(int year, int month, int day, int hour, int minute,
                                               int second) {
  if (year < 1601 || year > 30827 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 59) {
    return std::nullopt;
  }
  const std::int64_t seconds =
      DaysSince1601(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
  return seconds * kTicksPerSecond;
}

std::int64_t ReadDatetime(const WmiValue& value) {
  const auto* text = std::get_if<std::wstring>(&value.Get());
  if (text == nullptr || text->size() != kDatetimeLength) {
    return 0;
  }
  const auto base =
      FileTimeFromFields(ReadField(*text, 0, 4), ReadField(*text, 4, 2), ReadField(*text, 6, 2),
                         ReadField(*text, 8, 2), ReadField(*text, 10, 2), ReadField(*text, 12, 2));
  if (!base) {
    return 0;
  }
  const std::int64_t count = *base + std::int64_t{ReadField(*text, 15, 6)} * 10;
  const int offsetMinutes = ReadField(*text, 21, 4);
  if (offsetMinutes == 0) {
    return count;
  }
  const std::int64_t localBias = count - platform::LocalFileTimeToUtc(count);
  return count - offsetMinutes * kTicksPerMinute + localBias;
}

}  // namespace quorvane
