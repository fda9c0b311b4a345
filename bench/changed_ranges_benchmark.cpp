// Changed ranges end to end, host and library: a 2 TiB disk with N scattered 4 KiB guest writes
// since the kept identifier, gathered through the public API (16,384 ranges a pass). Each
// iteration adds one write first, so the host works the answer out again.
#include <benchmark/benchmark.h>

#include <string>

#include "quorvane/owned.h"
#include "quorvane/simulated_host.h"

namespace {

using quorvane::Own;
using quorvane::sim::SimulatedHost;

constexpr std::uint64_t kDiskSize = 2ull << 40;
constexpr wchar_t kDisk[] = L"D:\\VMs\\big.vhdx";

void BM_ChangedRangesEndToEnd(benchmark::State& state) {
  const auto ranges = static_cast<std::uint64_t>(state.range(0));
  auto host = SimulatedHost::Create();
  const auto machine = host.AddMachine({.name = L"big", .enabledState = 2});
  host.AddDiskFile(kDisk, kDiskSize);
  host.AttachDisk(machine, kDisk);
  auto root = Own(host.CreateQuorvane());
  auto snapshots = Own(root->CreateSnapshotManagement(machine.c_str()));
  snapshots->CreateRecoverySnapshot(true, nullptr);
  auto kept = Own(snapshots->GetChangeEnumerator(snapshots->GetLastSnapshotId()));
  kept->Next();
  const std::wstring since = kept->GetChangeTrackingId();
  host.AdvanceClock(60000);  // the merge
  const std::uint64_t stride = kDiskSize / (ranges + 1) / 8192 * 8192;
  for (std::uint64_t i = 0; i < ranges; ++i) {
    host.WriteToDisk(kDisk, i * stride, 4096);
  }
  auto management = Own(root->CreateMachineManagement(false));
  auto info = Own(management->GetMachineInfo(machine.c_str()));
  std::uint64_t extra = 0;
  std::uint64_t seen = 0;
  for (auto _ : state) {
    state.PauseTiming();
    host.WriteToDisk(kDisk, kDiskSize - 4096 * ++extra, 1);
    auto disks = Own(info->CreateDiskEnumerator(false));
    disks->Next();
    state.ResumeTiming();
    auto changes = Own(disks->GetDiskChangeEnumerator(since.c_str()));
    seen = 0;
    while (changes->Next()) {
      ++seen;
    }
  }
  state.counters["ranges"] = static_cast<double>(seen);
  state.counters["per_range"] =
      benchmark::Counter(static_cast<double>(seen) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(BM_ChangedRangesEndToEnd)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1.0);
BENCHMARK_MAIN();
