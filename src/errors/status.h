#pragma once

#include <string>

#include "platform/hresult.h"

namespace quorvane {

// Raises the exception type that matches `status` (access denied, RPC server unavailable,
// missing namespace, or the general one), carrying `status` and `message`.
[[noreturn]] void ThrowForStatus(HResult status, const std::wstring& message);

// A failed COM status, described with the system's message text.
void ThrowIfFailed(HResult status);

// A failed WMI status, described with WMI's own status text.
void ThrowIfWmiFailed(HResult status);

// A non-zero Win32 error code; positive codes are mapped into the 0x8007xxxx range.
void ThrowIfWin32Error(std::int32_t code);
// When `condition` holds, the thread's last OS error is raised as above.
void ThrowIfWin32Error(bool condition);
// When `condition` holds, `code` is raised; only codes greater than 0 are mapped.
void ThrowIfWin32Error(bool condition, std::int32_t code);

// Message text for a status: the system's own text, or a fallback naming the number.
std::wstring SystemMessageText(HResult status);
// WMI's text for a status, or the system's when WMI has none.
std::wstring WmiMessageText(HResult status);

// Raises the library's own failure: code 0xFFFFFFFF with a fixed message.
[[noreturn]] void ThrowLibraryError(const std::wstring& message);

}  // namespace quorvane
