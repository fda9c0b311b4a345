#pragma once

#include <cstdint>
#include <optional>

#include "wmi/wmi_value.h"

namespace quorvane {

// Reads a CIM datetime text (yyyymmddHHMMSS.mmmmmmsUUU) as a FILETIME count (100 ns since
// 1601-01-01). Anything but a 25-character text, or a date the calendar cannot hold, gives 0.
// An offset of 0 is taken as it stands; any other offset yields the time in this machine's
// local time zone, which is how the library has always reported creation times.
std::int64_t ReadDatetime(const WmiValue& value);

// The FILETIME count of a calendar date and time; nothing for a date the calendar cannot hold.
std::optional<std::int64_t> FileTimeFromFields(int year, int month, int day, int hour, int minute,
                                               int second);

}  // namespace quorvane
