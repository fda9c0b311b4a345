#include "simhost/scenario.h"

namespace quorvane::sim {
namespace {

struct ServiceName {
  const wchar_t* className;
  const wchar_t* name;
};

// "vmms", "vssnapsvc" and "vhdsvc" are what Hyper-V calls its services; the names of the
// reference point and security services are not published and are our choice.
constexpr ServiceName kServices[] = {
    {L"Msvm_VirtualSystemManagementService", L"vmms"},
    {L"Msvm_VirtualSystemSnapshotService", L"vssnapsvc"},
    {L"Msvm_ImageManagementService", L"vhdsvc"},
    {L"Msvm_VirtualSystemReferencePointService", L"vrpsvc"},
    {L"Msvm_SecurityService", L"securitysvc"},
};

void AddHostSystem(HostCore& host) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring& name = host.Settings().name;
  v2.Create(L"Msvm_ComputerSystem",
            {{L"CreationClassName", WmiValue::String(L"Msvm_ComputerSystem")},
             {L"Name", WmiValue::String(name)},
             {L"ElementName", WmiValue::String(name)},
             {L"Caption", WmiValue::String(L"Hosting Computer System")},
             {L"Description", WmiValue::String(L"Microsoft Hosting Computer System")},
             {L"EnabledState", WmiValue::Int32(2)},
             {L"HealthState", WmiValue::Int32(5)},
             {L"OperationalStatus", WmiValue::Array(std::vector<std::int32_t>{2})}});
  for (const auto& service : kServices) {
    v2.Create(service.className,
              {{L"CreationClassName", WmiValue::String(service.className)},
               {L"Name", WmiValue::String(service.name)},
               {L"SystemCreationClassName", WmiValue::String(L"Msvm_ComputerSystem")},
               {L"SystemName", WmiValue::String(name)},
               {L"EnabledState", WmiValue::Int32(2)}});
  }
  v2.Create(L"Msvm_VirtualSystemManagementServiceSettingData",
            {{L"InstanceID", WmiValue::String(L"Microsoft:" + name)},
             {L"DefaultExternalDataRoot",
              WmiValue::String(L"C:\\ProgramData\\Microsoft\\Windows\\Hyper-V")},
             {L"DefaultVirtualHardDiskPath",
              WmiValue::String(L"C:\\ProgramData\\Microsoft\\Windows\\Virtual Hard Disks")}});
}

}  // namespace

void InstallProviderBehaviours(HostCore& /*host*/) {
  // Behaviours of the Hyper-V provider's methods register here as they are modelled.
}

std::shared_ptr<HostCore> BuildHost(const HostSettings& settings) {
  auto host = std::make_shared<HostCore>(settings);
  AddHostSystem(*host);
  InstallProviderBehaviours(*host);
  return host;
}

std::shared_ptr<HostCore> BuildDefaultHost() {
  return BuildHost(HostSettings{});
}

}  // namespace quorvane::sim
