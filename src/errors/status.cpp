#include "errors/status.h"

#include <cwchar>

#include "platform/platform.h"
#include "quorvane/exceptions.h"

namespace quorvane {
namespace {

std::wstring FallbackText(HResult status) {
  const auto bits = static_cast<std::uint32_t>(status);
  wchar_t buffer[32] = {};
  if (bits >= 0x80040200u && bits <= 0x8004FFFFu && (bits & 0xFFFFu) != 0x0200u) {
    std::swprintf(buffer, 32, L"IDispatch error #%d", static_cast<int>(bits & 0xFFFFu) - 0x200);
  } else {
    std::swprintf(buffer, 32, L"Unknown error 0x%0lX", static_cast<unsigned long>(bits));
  }
  return buffer;
}

// System texts end in a line break; a text of at least two characters loses its final LF and
// then a CR right before it.
void TrimLineEnd(std::wstring& text) {
  if (text.size() >= 2 && text.back() == L'\n') {
    text.pop_back();
    if (!text.empty() && text.back() == L'\r') {
      text.pop_back();
    }
  }
}

HResult Win32ToHResult(std::int32_t code) {
  if (code <= 0) {
    return code;
  }
  return ToHResult(0x80070000u | (static_cast<std::uint32_t>(code) & 0xFFFFu));
}

}  // namespace

void ThrowForStatus(HResult status, const std::wstring& message) {
  const auto code = static_cast<std::uint32_t>(status);
  switch (status) {
    case status::kAccessDenied:
      throw AccessDeniedException(code, message.c_str());
    case status::kRpcServerUnavailable:
      throw CannotConnectException(code, message.c_str());
    case status::kWbemInvalidNamespace:
      throw HyperVNotFoundException(code, message.c_str());
    default:
      throw DefaultException(code, message.c_str());
  }
}

std::wstring SystemMessageText(HResult status) {
  auto text = platform::SystemMessage(status);
  if (!text) {
    return FallbackText(status);
  }
  TrimLineEnd(*text);
  return *text;
}

std::wstring WmiMessageText(HResult status) {
  auto text = platform::WmiStatusText(status);
  return text ? *text : SystemMessageText(status);
}

void ThrowIfFailed(HResult status) {
  if (status < 0) {
    ThrowForStatus(status, SystemMessageText(status));
  }
}

void ThrowIfWmiFailed(HResult status) {
  if (status < 0) {
    ThrowForStatus(status, WmiMessageText(status));
  }
}

void ThrowIfWin32Error(std::int32_t code) {
  if (code != 0) {
    const HResult status = Win32ToHResult(code);
    ThrowForStatus(status, SystemMessageText(status));
  }
}

void ThrowIfWin32Error(bool condition) {
  if (condition) {
    const HResult status = Win32ToHResult(static_cast<std::int32_t>(platform::LastOsError()));
    ThrowForStatus(status, SystemMessageText(status));
  }
}

void ThrowIfWin32Error(bool condition, std::int32_t code) {
  if (condition) {
    const HResult status = Win32ToHResult(code);
    ThrowForStatus(status, SystemMessageText(status));
  }
}

void ThrowLibraryError(const std::wstring& message) {
  throw DefaultException(kLibraryErrorCode, message.c_str());
}

}  // namespace quorvane
