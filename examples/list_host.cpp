// Lists a host's machines with their settings, its virtual switches and its limits.
// Runs on the default simulated host; with a real host, take the root object from
// quorvane::CreateQuorvaneLocal() instead.
#include <quorvane/owned.h>
#include <quorvane/quorvane.h>
#include <quorvane/simulated_host.h>

#include <cstdio>

namespace {

using quorvane::Own;

void ListMachines(quorvane::IQuorvane& root) {
  std::printf("Machines (highest configuration version %ls):\n", root.GetMaxVersion());
  auto machines = Own(root.CreateMachineEnumerator());
  while (machines->Next()) {
    auto info = Own(machines->GetMachineInfo());
    std::printf("  %-10ls %ls  generation %d, version %ls, %lld MB, %lld processors\n",
                info->GetName(), info->GetId(), info->IsGeneration2() ? 2 : 1, info->GetVersion(),
                static_cast<long long>(info->GetMemory()),
                static_cast<long long>(info->GetProcessorCount()));
    if (*info->GetParentId() != L'\0') {
      std::printf("             runs on from checkpoint %ls\n", info->GetParentId());
    }
  }
}

void ListSwitches(quorvane::IQuorvane& root) {
  std::printf("Switches:\n");
  auto switches = Own(root.CreateSwitchEnumerator());
  while (switches->Next()) {
    std::printf("  %-10ls %ls\n", switches->GetName(), switches->GetId());
  }
}

void ListLimits(quorvane::IQuorvane& root) {
  auto management = Own(root.CreateMachineManagement(true));
  std::printf(
      "Limits:\n  processors %llu to %llu\n  memory %llu MB to %llu MB in steps of %llu MB\n",
      static_cast<unsigned long long>(management->GetMinimumProcessorCount()),
      static_cast<unsigned long long>(management->GetMaximumProcessorCount()),
      static_cast<unsigned long long>(management->GetMinimumMemory()),
      static_cast<unsigned long long>(management->GetMaximumMemory()),
      static_cast<unsigned long long>(management->GetMemoryIncrement()));
  std::printf("  new machines go to %ls\n  new disks go to %ls\n",
              management->GetDefaultExternalDataRoot(),
              management->GetDefaultVirtualHardDiskPath());
}

}  // namespace

int main(int argc, char** argv) {
  try {
    // The hand-written lab host beside the examples, or the scenario given.
    const auto host =
        quorvane::sim::SimulatedHost::LoadScenario(argc > 1 ? argv[1] : QUORVANE_EXAMPLE_SCENARIO);
    auto root = Own(host.CreateQuorvane());
    ListMachines(*root);
    ListSwitches(*root);
    ListLimits(*root);
    return 0;
  } catch (const quorvane::DefaultException& e) {
    std::fprintf(stderr, "failed: 0x%08X %ls\n", e.GetErrorCode(), e.GetMessageDescription());
    return 1;
  }
}
