#include "lifecycle/machine_management.h"

#include "hyperv/machine_state.h"
#include "inventory/machine_info.h"
#include "util/creation.h"
#include "wmi/wmi_job.h"

namespace quorvane {
namespace {

constexpr std::uint32_t kRunning = 2;
constexpr std::uint32_t kOff = 3;
constexpr std::uint32_t kSaved = 6;

std::wstring MachineName(const wchar_t* machine) {
  return RequireText(machine, L"Machine name");
}

}  // namespace

MachineManagement* MachineManagement::Create(WmiServicePtr service, bool readLimits) {
  return CreateLoaded<MachineManagement>(
      [readLimits](MachineManagement& m) {
        ReadHostCapabilities(*m.service_, readLimits, m.capabilities_);
      },
      std::move(service));
}

void MachineManagement::Start(const wchar_t* machine) {
  ChangeState(machine, kRunning);
}

void MachineManagement::PowerOff(const wchar_t* machine) {
  ChangeState(machine, kOff);
}

void MachineManagement::Save(const wchar_t* machine) {
  ChangeState(machine, kSaved);
}

void MachineManagement::ChangeState(const wchar_t* machine, std::uint32_t requestedState) {
  const auto system = FindMachine(*service_, MachineName(machine));
  if (static_cast<std::uint32_t>(system->GetProperty(L"EnabledState").AsInteger()) ==
      requestedState) {
    return;
  }
  const auto method = system->CreateMethod(L"RequestStateChange");
  method->SetParameter(L"RequestedState",
                       WmiValue::Int32(static_cast<std::int32_t>(requestedState)));
  WmiJob(service_, method).Run();
}

void MachineManagement::DeleteMachine(const wchar_t* machine) {
  const std::wstring name = MachineName(machine);
  const auto managementService = service_->QueryFirst(L"Msvm_VirtualSystemManagementService");
  const auto system = FindMachine(*service_, name);
  const auto method = managementService->CreateMethod(L"DestroySystem");
  method->SetParameter(L"AffectedSystem", WmiValue::String(system->GetPath()));
  WmiJob(service_, method).Run();
}

std::uint32_t MachineManagement::GetEnabledState(const wchar_t* machine) {
  return QueryEnabledState(*service_, MachineName(machine));
}

std::uint32_t MachineManagement::GetOperationalStatus(const wchar_t* machine) {
  return QueryOperationalStatus(*service_, MachineName(machine));
}

IMachineInfo* MachineManagement::GetMachineInfo(const wchar_t* configurationId) {
  return MachineInfo::Create(service_, RequireText(configurationId, L"Configuration id"));
}

}  // namespace quorvane
