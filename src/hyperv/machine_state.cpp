#include "hyperv/machine_state.h"

#include "quorvane/exceptions.h"
#include "util/text.h"

namespace quorvane {
namespace {

constexpr std::uint32_t kStatusOk = 2;

}  // namespace

WmiObjectPtr FindMachine(IWmiService& service, const std::wstring& machine) {
  auto found =
      service.ExecQuery(L"Select * from Msvm_ComputerSystem where Name=" + QuotedLiteral(machine));
  if (found.empty()) {
    throw VmNotFoundException(kLibraryErrorCode, (L"Cannot find machine: " + machine).c_str());
  }
  return found.front();
}

std::uint32_t QueryEnabledState(IWmiService& service, const std::wstring& machine) {
  return static_cast<std::uint32_t>(
      FindMachine(service, machine)->GetProperty(L"EnabledState").AsInteger());
}

std::uint32_t QueryOperationalStatus(IWmiService& service, const std::wstring& machine) {
  const WmiValue status = FindMachine(service, machine)->GetProperty(L"OperationalStatus");
  std::vector<std::uint32_t> values;
  for (const auto& item : status.Elements()) {
    values.push_back(static_cast<std::uint32_t>(item.AsInteger()));
  }
  if (values.empty()) {
    return kStatusOk;
  }
  return values[0] == kStatusOk && values.size() >= 2 ? values[1] : values[0];
}

}  // namespace quorvane
