#include <array>
#include <string>

#include "quorvane/exceptions.h"
#include "util/case_insensitive.h"

namespace quorvane {
namespace {

// The host's change tracking statuses, and how a job's description names them.
constexpr std::array<std::pair<std::uint32_t, const wchar_t*>, 3> kStatuses = {{
    {0xC03A0029u, L"(0xC03A0029)"},
    {0xC03A002Au, L"(0xC03A002A)"},
    {0xC03A0030u, L"(0xC03A0030)"},
}};

}  // namespace

bool IsChangeTrackingUnusable(const DefaultException& failure) {
  const std::wstring message = ToLower(failure.GetMessageDescription());
  for (const auto& [status, written] : kStatuses) {
    if (failure.GetErrorCode() == status || message.find(ToLower(written)) != std::wstring::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace quorvane
