#include "simhost/hyperv_model.h"
#include "simhost/providers.h"
#include "simhost/scenario.h"

namespace quorvane::sim {

void InstallProviderBehaviours(HostCore& host) {
  InstallLifecycleBehaviours(host);
  InstallSnapshotBehaviours(host);
  InstallStorageBehaviours(host);
  InstallEditingBehaviours(host);
  InstallSecurityBehaviours(host);
}

void SetDefaultSynchronousMethods(HostCore& host) {
  // These two answer at once on real hosts.
  host.SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualHardDiskSettingData", true);
  host.SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", true);
}

void AddHostObjects(HostCore& host) {
  AddHostSystem(host);
  if (host.Settings().capabilities) {
    AddDevicePools(host);
    AddCapabilities(host);
  }
}

std::shared_ptr<HostCore> BuildHost(const HostSettings& settings) {
  auto host = std::make_shared<HostCore>(settings);
  SetDefaultSynchronousMethods(*host);
  AddHostObjects(*host);
  InstallProviderBehaviours(*host);
  return host;
}

// A small host to explore: two switches, a running generation 2 machine with two disks and two
// checkpoints, a generation 1 machine that is off with a disk and a DVD, and a planned machine.
std::shared_ptr<HostCore> BuildDefaultHost() {
  auto host = BuildHost(HostSettings{});
  AddSwitch(*host, L"External", L"");
  AddSwitch(*host, L"Internal", L"");
  MachineDefinition web;
  web.name = L"web-01";
  web.memoryMb = 4096;
  web.processors = 4;
  web.enabledState = kStateRunning;
  const auto webMachine = DefineMachine(*host, web);
  const auto webSettings =
      *RealizedSettingsOf(host->Namespace(kVirtualizationNamespace), webMachine);
  for (const auto& [path, size] : {std::pair{L"D:\\Hyper-V\\web-01\\system.vhdx", 64ull << 30},
                                   std::pair{L"D:\\Hyper-V\\web-01\\data.vhdx", 256ull << 30}}) {
    CreateDiskFile(*host, path, size, L"");
    AttachAtFreePlace(*host, webSettings, path, false);
  }
  host->AdvanceClock(3'600'000);
  TakeSnapshot(*host, webMachine, 2, L"Before update");
  host->AdvanceClock(3'600'000);
  TakeSnapshot(*host, webMachine, 2, L"After update");
  MachineDefinition db;
  db.name = L"db-01";
  db.generation2 = false;
  db.version = L"9.0";
  db.memoryMb = 8192;
  db.processors = 2;
  const auto dbMachine = DefineMachine(*host, db);
  const auto dbSettings = *RealizedSettingsOf(host->Namespace(kVirtualizationNamespace), dbMachine);
  CreateDiskFile(*host, L"D:\\Hyper-V\\db-01\\db.vhdx", 128ull << 30, L"");
  AttachAtFreePlace(*host, dbSettings, L"D:\\Hyper-V\\db-01\\db.vhdx", false);
  AttachAtFreePlace(*host, dbSettings, L"D:\\ISO\\tools.iso", true);
  MachineDefinition planned;
  planned.name = L"imported";
  planned.planned = true;
  DefineMachine(*host, planned);
  return host;
}

}  // namespace quorvane::sim
