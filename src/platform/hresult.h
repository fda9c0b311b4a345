#pragma once

#include <cstdint>

namespace quorvane {

// A COM/WMI status: negative means failure.
using HResult = std::int32_t;

constexpr HResult ToHResult(std::uint32_t bits) {
  return static_cast<HResult>(bits);
}

namespace status {
constexpr HResult kOk = 0;
constexpr HResult kFail = ToHResult(0x80004005);
constexpr HResult kNotImplemented = ToHResult(0x80004001);
constexpr HResult kNoInterface = ToHResult(0x80004002);
constexpr HResult kPointer = ToHResult(0x80004003);
constexpr HResult kClassNotRegistered = ToHResult(0x80040154);
constexpr HResult kAccessDenied = ToHResult(0x80070005);
constexpr HResult kOutOfMemory = ToHResult(0x8007000E);
constexpr HResult kInvalidArgument = ToHResult(0x80070057);
constexpr HResult kRpcServerUnavailable = ToHResult(0x800706BA);
constexpr HResult kUnexpected = ToHResult(0x8000FFFF);

constexpr HResult kWbemFailed = ToHResult(0x80041001);
constexpr HResult kWbemNotFound = ToHResult(0x80041002);
constexpr HResult kWbemAccessDenied = ToHResult(0x80041003);
constexpr HResult kWbemTypeMismatch = ToHResult(0x80041005);
constexpr HResult kWbemInvalidParameter = ToHResult(0x80041008);
constexpr HResult kWbemNotSupported = ToHResult(0x8004100C);
constexpr HResult kWbemInvalidNamespace = ToHResult(0x8004100E);
constexpr HResult kWbemInvalidClass = ToHResult(0x80041010);
constexpr HResult kWbemInvalidQuery = ToHResult(0x80041017);
constexpr HResult kWbemInvalidQueryType = ToHResult(0x80041018);
constexpr HResult kWbemReadOnly = ToHResult(0x80041023);
constexpr HResult kWbemTimedOut = ToHResult(0x80041069);
constexpr HResult kWbemProviderNotCapable = ToHResult(0x80041024);
constexpr HResult kWbemInvalidMethod = ToHResult(0x8004102E);
constexpr HResult kWbemInvalidMethodParameters = ToHResult(0x8004102F);
constexpr HResult kWbemInvalidObjectPath = ToHResult(0x8004103A);
constexpr HResult kWbemLocalCredentials = ToHResult(0x80041064);
}  // namespace status

}  // namespace quorvane
