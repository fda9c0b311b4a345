#include <array>
#include <string>

#include "quorvane/exceptions.h"
#include "util/case_insensitive.h"

namespace quorvane {
namespace {

// The host's change tracking statuses: invalid identifier, change tracking off, no data for
// the identifier. A failure carries one either as its code (a host that returns it, or puts it
// in the job's "ErrorCode") or written in hexadecimal in the job's description.
constexpr std::array<std::pair<std::uint32_t, const wchar_t*>, 3> kStatuses = {{
    {0xC03A0029u, L"0xc03a0029"},
    {0xC03A002Au, L"0xc03a002a"},
    {0xC03A0030u, L"0xc03a0030"},
}};

}  // namespace

bool IsChangeTrackingUnusable(const DefaultException& failure) {
  const std::wstring message = ToLower(failure.GetMessageDescription());
  for (const auto& [status, written] : kStatuses) {
    if (failure.GetErrorCode() == status || message.find(written) != std::wstring::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace quorvane
