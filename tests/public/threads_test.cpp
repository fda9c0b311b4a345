// Several threads sharing one root and one simulated host, each with objects of its own, as
// the library's threading rules allow. Run in the ThreadSanitizer build.
#include <thread>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

TEST(ThreadsTest, ThreadsShareOneRootAndOneHost) {
  constexpr int kThreads = 6;
  // Not tracked: the threads' calls interleave differently on every run.
  auto host = sim::SimulatedHost::Create();
  std::vector<std::wstring> machines;
  for (int i = 0; i < kThreads; ++i) {
    const auto machine = host.AddMachine({.name = L"vm-" + std::to_wstring(i)});
    const std::wstring disk = L"D:\\VMs\\vm-" + std::to_wstring(i) + L".vhdx";
    host.AddDiskFile(disk, 1ull << 30);
    host.AttachDisk(machine, disk);
    machines.push_back(machine);
  }
  auto root = Own(host.CreateQuorvane());
  std::vector<std::thread> threads;
  std::vector<int> done(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const wchar_t* machine = machines[t].c_str();
      auto management = Own(root->CreateMachineManagement(false));
      auto snapshots = Own(root->CreateSnapshotManagement(machine));
      for (int round = 0; round < 3; ++round) {
        management->Start(machine);
        auto info = Own(management->GetMachineInfo(machine));
        auto disks = Own(info->CreateDiskEnumerator(false));
        while (disks->Next()) {
        }
        snapshots->CreateStandardSnapshot();
        snapshots->DestroySnapshot(snapshots->GetLastSnapshotId(), false);
        host.AdvanceClock(20000);  // the merge, on a clock the threads share
        management->PowerOff(machine);
        ++done[t];
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(done, std::vector<int>(kThreads, 3));
}

}  // namespace
}  // namespace quorvane::testing
