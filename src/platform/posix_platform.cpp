// Platform functions for systems without Windows: built-in message texts for the statuses this
// library meets, and the C library's local time.
#include <cerrno>
#include <ctime>
#include <cwchar>
#include <random>

#include "platform/platform.h"

namespace quorvane::platform {
namespace {

struct StatusText {
  std::uint32_t status;
  const wchar_t* text;
};

// As the Windows message table gives them, line end included.
constexpr StatusText kSystemTexts[] = {
    {0x80004001u, L"Not implemented\r\n"},
    {0x80004002u, L"No such interface supported\r\n"},
    {0x80004003u, L"Invalid pointer\r\n"},
    {0x80004004u, L"Operation aborted\r\n"},
    {0x80004005u, L"Unspecified error\r\n"},
    {0x8000FFFFu, L"Catastrophic failure\r\n"},
    {0x80040154u, L"Class not registered\r\n"},
    {0x80070002u, L"The system cannot find the file specified.\r\n"},
    {0x80070005u, L"Access is denied.\r\n"},
    {0x80070006u, L"The handle is invalid.\r\n"},
    {0x8007000Eu, L"Not enough memory resources are available to complete this operation.\r\n"},
    {0x80070057u, L"The parameter is incorrect.\r\n"},
    {0x800706BAu, L"The RPC server is unavailable.\r\n"},
    {0x800706BEu, L"The remote procedure call failed.\r\n"},
};

// As WMI's status-text object gives them.
constexpr StatusText kWmiTexts[] = {
    {0x80041001u, L"Generic failure "},
    {0x80041002u, L"Not found "},
    {0x80041003u, L"Access denied "},
    {0x80041004u, L"Provider failure "},
    {0x80041005u, L"Type mismatch "},
    {0x80041006u, L"Out of memory "},
    {0x80041008u, L"Invalid parameter "},
    {0x8004100Au, L"Critical error "},
    {0x8004100Cu, L"Not supported "},
    {0x8004100Eu, L"Invalid namespace "},
    {0x8004100Fu, L"Invalid object "},
    {0x80041010u, L"Invalid class "},
    {0x80041013u, L"Provider load failure "},
    {0x80041017u, L"Invalid query "},
    {0x80041018u, L"Invalid query type "},
    {0x80041019u, L"Object or property already exists "},
    {0x8004101Du, L"Unexpected error "},
    {0x80041021u, L"Invalid syntax "},
    {0x80041024u, L"Illegal operation "},
    {0x8004102Eu, L"Invalid method "},
    {0x8004102Fu, L"Invalid method Parameter(s) "},
    {0x80041032u, L"Call cancelled "},
    {0x8004103Au, L"Invalid object path "},
    {0x80041045u, L"Quota violation "},
    {0x80041064u, L"User credentials cannot be used for local connections "},
};

template <std::size_t N>
std::optional<std::wstring> Find(const StatusText (&table)[N], HResult status) {
  for (const auto& entry : table) {
    if (entry.status == static_cast<std::uint32_t>(status)) {
      return std::wstring(entry.text);
    }
  }
  return std::nullopt;
}

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

}  // namespace

std::optional<std::wstring> SystemMessage(HResult status) {
  return Find(kSystemTexts, status);
}

std::optional<std::wstring> WmiStatusText(HResult status) {
  return Find(kWmiTexts, status);
}

std::uint32_t LastOsError() {
  return static_cast<std::uint32_t>(errno);
}

std::wstring NewGuidText() {
  std::random_device device;
  std::uint32_t words[4];
  for (auto& word : words) {
    word = device();
  }
  words[1] = (words[1] & 0xFFFF0FFFu) | 0x00004000u;  // version 4
  words[2] = (words[2] & 0x3FFFFFFFu) | 0x80000000u;  // variant 1
  wchar_t text[40];
  std::swprintf(text, 40, L"%08x-%04x-%04x-%04x-%04x%08x", words[0], words[1] >> 16,
                words[1] & 0xFFFFu, words[2] >> 16, words[2] & 0xFFFFu, words[3]);
  return text;
}

std::int64_t LocalFileTimeToUtc(std::int64_t localFileTime) {
  std::int64_t seconds = localFileTime / kTicksPerSecond;
  const std::int64_t ticks = localFileTime % kTicksPerSecond;
  const std::time_t wall = static_cast<std::time_t>(seconds - kSecondsFrom1601To1970);
  std::tm fields{};
  if (gmtime_r(&wall, &fields) == nullptr) {
    return localFileTime;
  }
  fields.tm_isdst = -1;
  const std::time_t utc = std::mktime(&fields);
  if (utc == static_cast<std::time_t>(-1)) {
    return localFileTime;
  }
  return (static_cast<std::int64_t>(utc) + kSecondsFrom1601To1970) * kTicksPerSecond + ticks;
}

}  // namespace quorvane::platform
