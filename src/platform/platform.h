#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/hresult.h"

// The few things that differ between Windows and other systems, one function each.
namespace quorvane::platform {

// The system message table's text for `status`, exactly as the system gives it (usually
// ending in CR LF); nothing when the system has no text for it.
std::optional<std::wstring> SystemMessage(HResult status);

// WMI's status text for `status`; nothing when the status-text object is unavailable or
// has no text for it.
std::optional<std::wstring> WmiStatusText(HResult status);

// The calling thread's last OS error code.
std::uint32_t LastOsError();

// A new GUID as text, the way the system writes one (lower case, no braces).
std::wstring NewGuidText();

// Converts a FILETIME count read as this machine's local time into UTC.
std::int64_t LocalFileTimeToUtc(std::int64_t localFileTime);

}  // namespace quorvane::platform
