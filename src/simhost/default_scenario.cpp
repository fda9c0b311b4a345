#include "simhost/hyperv_model.h"
#include "simhost/providers.h"
#include "simhost/scenario.h"

namespace quorvane::sim {

void InstallProviderBehaviours(HostCore& host) {
  InstallLifecycleBehaviours(host);
  InstallSnapshotBehaviours(host);
  InstallStorageBehaviours(host);
}

std::shared_ptr<HostCore> BuildHost(const HostSettings& settings) {
  auto host = std::make_shared<HostCore>(settings);
  // These two answer at once on real hosts.
  host->SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualHardDiskSettingData", true);
  host->SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", true);
  AddHostSystem(*host);
  if (settings.capabilities) {
    AddCapabilities(*host);
  }
  InstallProviderBehaviours(*host);
  return host;
}

// A small host to explore: two switches, a running generation 2 machine with two checkpoints,
// a generation 1 machine that is off, and a planned machine.
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
  DefineMachine(*host, db);
  MachineDefinition planned;
  planned.name = L"imported";
  planned.planned = true;
  DefineMachine(*host, planned);
  return host;
}

}  // namespace quorvane::sim
