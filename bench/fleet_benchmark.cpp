// The simulated host at fleet scale, through the public API as a vendor's tests use it: a host
// of N machines, each with two disks (the second a differencing chain) and 0 to 3 checkpoints.
// Reports the cost of one machine record, one disk enumerator, the root, the machine management
// object, a whole inventory walk, a job after many jobs, and building and loading such a host.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "quorvane/owned.h"
#include "quorvane/simulated_host.h"

namespace {

using quorvane::Own;
using quorvane::sim::SimulatedHost;

struct Fleet {
  SimulatedHost host = SimulatedHost::Create();
  std::vector<std::wstring> machines;
};

std::unique_ptr<Fleet> BuildFleet(int machines) {
  auto fleet = std::make_unique<Fleet>();
  for (int i = 0; i < machines; ++i) {
    const std::wstring name = L"vm-" + std::to_wstring(i);
    const auto id = fleet->host.AddMachine({.name = name, .enabledState = 3});
    const std::wstring folder = L"D:\\VMs\\" + name + L"\\";
    fleet->host.AddDiskFile(folder + L"system.vhdx", 40ull << 30);
    fleet->host.AddDiskFile(folder + L"data.vhdx", 100ull << 30);
    fleet->host.AddDiskFile(folder + L"data-1.avhdx", 100ull << 30, folder + L"data.vhdx");
    fleet->host.AttachDisk(id, folder + L"system.vhdx");
    fleet->host.AttachDisk(id, folder + L"data-1.avhdx");
    for (int c = 0; c < i % 4; ++c) {
      fleet->host.AddSnapshot(id);
    }
    fleet->machines.push_back(id);
  }
  return fleet;
}

// Hosts are expensive to build: each size is built once and kept.
Fleet& FleetOf(int machines) {
  static std::map<int, std::unique_ptr<Fleet>> fleets;
  auto& fleet = fleets[machines];
  if (!fleet) {
    fleet = BuildFleet(machines);
  }
  return *fleet;
}

void BM_MachineRecord(benchmark::State& state) {
  Fleet& fleet = FleetOf(static_cast<int>(state.range(0)));
  auto root = Own(fleet.host.CreateQuorvane());
  auto management = Own(root->CreateMachineManagement(false));
  std::size_t next = 0;
  for (auto _ : state) {
    auto info =
        Own(management->GetMachineInfo(fleet.machines[next++ % fleet.machines.size()].c_str()));
    benchmark::DoNotOptimize(info->GetName());
  }
}

void BM_DiskEnumerator(benchmark::State& state) {
  Fleet& fleet = FleetOf(static_cast<int>(state.range(0)));
  auto root = Own(fleet.host.CreateQuorvane());
  auto management = Own(root->CreateMachineManagement(false));
  std::size_t next = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto info =
        Own(management->GetMachineInfo(fleet.machines[next++ % fleet.machines.size()].c_str()));
    state.ResumeTiming();
    auto disks = Own(info->CreateDiskEnumerator(false));
    while (disks->Next()) {
      benchmark::DoNotOptimize(disks->GetPath());
    }
  }
}

void BM_Root(benchmark::State& state) {
  Fleet& fleet = FleetOf(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto root = Own(fleet.host.CreateQuorvane());
    benchmark::DoNotOptimize(root.get());
  }
}

void BM_MachineManagementWithLimits(benchmark::State& state) {
  Fleet& fleet = FleetOf(static_cast<int>(state.range(0)));
  auto root = Own(fleet.host.CreateQuorvane());
  for (auto _ : state) {
    auto management = Own(root->CreateMachineManagement(true));
    benchmark::DoNotOptimize(management.get());
  }
}

// Every machine record and disk enumerator of the host, once.
void BM_WholeWalk(benchmark::State& state) {
  Fleet& fleet = FleetOf(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto root = Own(fleet.host.CreateQuorvane());
    auto management = Own(root->CreateMachineManagement(false));
    for (const auto& machine : fleet.machines) {
      auto info = Own(management->GetMachineInfo(machine.c_str()));
      auto disks = Own(info->CreateDiskEnumerator(false));
      while (disks->Next()) {
        benchmark::DoNotOptimize(disks->GetPath());
      }
    }
  }
  state.counters["machines"] = static_cast<double>(fleet.machines.size());
}

// One start and one turn-off after `range(0)` earlier jobs on a host of 100 machines.
void BM_JobAfterJobs(benchmark::State& state) {
  Fleet fleet;
  for (int i = 0; i < 100; ++i) {
    fleet.machines.push_back(fleet.host.AddMachine({.name = L"vm-" + std::to_wstring(i)}));
  }
  auto root = Own(fleet.host.CreateQuorvane());
  auto management = Own(root->CreateMachineManagement(false));
  const wchar_t* machine = fleet.machines.front().c_str();
  for (std::int64_t i = 0; i < state.range(0) / 2; ++i) {
    management->Start(machine);
    management->PowerOff(machine);
  }
  for (auto _ : state) {
    management->Start(machine);
    management->PowerOff(machine);
  }
  state.SetItemsProcessed(state.iterations() * 2);
}

void BM_BuildHost(benchmark::State& state) {
  for (auto _ : state) {
    auto fleet = BuildFleet(static_cast<int>(state.range(0)));
    benchmark::DoNotOptimize(fleet.get());
    state.PauseTiming();  // taking the host down is not building it
    fleet.reset();
    state.ResumeTiming();
  }
}

// A figure of the process's resident memory (Linux): "VmHWM" for the peak, "VmRSS" for now.
double ResidentBytes(const std::string& figure) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(figure + ":", 0) == 0) {
      return std::stod(line.substr(figure.size() + 1)) * 1024;
    }
  }
  return 0;
}

// Starts the peak afresh from what the process holds now, so that a peak reached earlier (a
// larger host built for another benchmark) does not hide this one's. Freed memory is handed
// back first: reused, it would not show as growth.
void ResetPeakResident() {
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5";
}

void BM_LoadScenario(benchmark::State& state) {
  const std::string json = FleetOf(static_cast<int>(state.range(0))).host.ToJson();
  ResetPeakResident();
  const double before = ResidentBytes("VmRSS");
  for (auto _ : state) {
    auto host = std::make_unique<SimulatedHost>(SimulatedHost::FromJson(json));
    benchmark::DoNotOptimize(host.get());
    state.PauseTiming();
    host.reset();
    state.ResumeTiming();
  }
  state.counters["scenario_bytes"] = static_cast<double>(json.size());
  // What loading added to the peak, per byte of scenario (the host it loaded included).
  state.counters["peak_growth_per_byte"] =
      (ResidentBytes("VmHWM") - before) / static_cast<double>(json.size());
}

}  // namespace

BENCHMARK(BM_MachineRecord)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DiskEnumerator)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Root)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MachineManagementWithLimits)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WholeWalk)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kSecond)->Iterations(1);
BENCHMARK(BM_JobAfterJobs)->Arg(0)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildHost)->Arg(1000)->Arg(10000)->Unit(benchmark::kSecond)->Iterations(1);
BENCHMARK(BM_LoadScenario)->Arg(1000)->Arg(10000)->Unit(benchmark::kSecond)->Iterations(1);
BENCHMARK_MAIN();
