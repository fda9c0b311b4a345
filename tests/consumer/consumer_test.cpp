// A vendor's own test: its code, here a function that names the running machines, checked
// against the simulated host through the installed library.
#include <quorvane/quorvane.h>
#include <quorvane/simulated_host.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<std::wstring> RunningMachines(quorvane::IQuorvane& root) {
  std::vector<std::wstring> names;
  auto machines = quorvane::Own(root.CreateMachineEnumerator());
  auto management = quorvane::Own(root.CreateMachineManagement(false));
  while (machines->Next()) {
    if (management->GetEnabledState(machines->GetId()) == 2) {
      names.emplace_back(machines->GetName());
    }
  }
  return names;
}

}  // namespace

int main() {
  auto host = quorvane::sim::SimulatedHost::Create();
  host.AddMachine({.name = L"web", .enabledState = 2});
  host.AddMachine({.name = L"db", .enabledState = 3});
  auto root = quorvane::Own(host.CreateQuorvane());
  const bool named = RunningMachines(*root) == std::vector<std::wstring>{L"web"};
  const bool versioned = std::strcmp(quorvane::GetVersion(), QUORVANE_VERSION) == 0;
  std::printf("%d passed, %d failed\n", named + versioned, !named + !versioned);
  return named && versioned ? 0 : 1;
}
