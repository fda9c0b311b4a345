// The road of an incremental backup: a recovery checkpoint turned into change tracking
// identifiers, then, at the next backup, the byte ranges each disk changed since then.
// Runs on the default simulated host, where the guest's writes are simulated too.
#include <quorvane/owned.h>
#include <quorvane/quorvane.h>
#include <quorvane/simulated_host.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

using quorvane::Own;

// Finds the machine called `name`; returns its identifier.
std::wstring FindMachine(quorvane::IQuorvane& root, const std::wstring& name) {
  auto machines = Own(root.CreateMachineEnumerator());
  while (machines->Next()) {
    if (name == machines->GetName()) {
      return machines->GetId();
    }
  }
  throw quorvane::DefaultException(0xFFFFFFFF, (L"No machine " + name).c_str());
}

// First backup: a recovery checkpoint becomes one change tracking identifier per disk.
std::map<std::wstring, std::wstring> FirstBackup(quorvane::IQuorvane& root,
                                                 const std::wstring& machine) {
  auto snapshots = Own(root.CreateSnapshotManagement(machine.c_str()));
  bool applicationConsistentFailed = false;
  const int level = snapshots->CreateRecoverySnapshot(true, &applicationConsistentFailed);
  std::printf("1. recovery checkpoint %ls (%s consistent)\n", snapshots->GetLastSnapshotId(),
              level == 1 ? "application" : "crash");
  std::printf("   (copy the machine's disks from the checkpoint here)\n");
  auto changes = Own(snapshots->GetChangeEnumerator(snapshots->GetLastSnapshotId()));
  std::map<std::wstring, std::wstring> kept;
  while (changes->Next()) {
    std::printf("2. keep %ls for disk %ls\n", changes->GetChangeTrackingId(), changes->GetDiskId());
    kept[changes->GetDiskId()] = changes->GetChangeTrackingId();
  }
  return kept;
}

// Next backup: the ranges each disk changed since its kept identifier.
void NextBackup(quorvane::IQuorvane& root, const std::wstring& machine,
                const std::map<std::wstring, std::wstring>& kept) {
  auto management = Own(root.CreateMachineManagement(false));
  auto info = Own(management->GetMachineInfo(machine.c_str()));
  auto disks = Own(info->CreateDiskEnumerator(false));
  while (disks->Next()) {
    const auto id = kept.find(disks->GetDiskId());
    if (id == kept.end()) {
      std::printf("4. %ls is new: copy it whole\n", disks->GetPath());
      continue;
    }
    auto ranges = Own(disks->GetDiskChangeEnumerator(id->second.c_str()));
    std::printf("4. %ls changed:\n", disks->GetPath());
    while (ranges->Next()) {
      std::printf("     %llu bytes at %llu\n", static_cast<unsigned long long>(ranges->GetLength()),
                  static_cast<unsigned long long>(ranges->GetOffset()));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    // The hand-written lab host beside the examples, or the scenario given.
    auto host =
        quorvane::sim::SimulatedHost::LoadScenario(argc > 1 ? argv[1] : QUORVANE_EXAMPLE_SCENARIO);
    auto root = Own(host.CreateQuorvane());
    const std::wstring machine = FindMachine(*root, L"web-01");
    const auto kept = FirstBackup(*root, machine);

    std::printf(
        "3. the guest writes 1 MiB at 4 GiB and 64 KiB at 0 of its system disk,\n"
        "   and 8 KiB at 100 GiB of its data disk\n");
    host.WriteToDisk(L"D:\\Hyper-V\\web-01\\system.vhdx", 4ull << 30, 1 << 20);
    host.WriteToDisk(L"D:\\Hyper-V\\web-01\\system.vhdx", 0, 64 << 10);
    host.WriteToDisk(L"D:\\Hyper-V\\web-01\\data.vhdx", 100ull << 30, 8 << 10);
    NextBackup(*root, machine, kept);
    return 0;
  } catch (const quorvane::DefaultException& e) {
    std::fprintf(stderr, "failed: 0x%08X %ls\n", e.GetErrorCode(), e.GetMessageDescription());
    return 1;
  }
}
