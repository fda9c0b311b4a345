// Several threads sharing one root and one simulated host, each with objects of its own, as
// the library's threading rules allow. Run in the ThreadSanitizer build.
#include <thread>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

TEST(ThreadsTest, ThreadsShareOneRootAndOneHost) {
  constexpr int kThreads = 6;
  // Not tracked: the threads' calls interleave differently on every run. The clock is shared, so
  // one thread's job may be polled after every other thread moved it on: the whole run must
  // stay well inside the 5 minutes a host keeps a finished job (18 rounds of a 2 s merge and
  // about 2 s of job polling, about 72 s).
  sim::HostOptions options;
  options.mergeDurationMs = 2000;
  auto host = sim::SimulatedHost::Create(options);
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
        host.AdvanceClock(options.mergeDurationMs);
        management->PowerOff(machine);
        ++done[t];
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(done, std::vector<int>(kThreads, 3));
  EXPECT_LT(host.ClockMs(), 150000u) << "too close to the time a host keeps a finished job";
}

}  // namespace
}  // namespace quorvane::testing
