// The header-only C++ layer against the simulated host, built by any compiler: natively here,
// and for Microsoft's ABI with clang and run under Wine. No test framework and no standard
// library, so that it builds where neither can be had.
#include <stdio.h>
#include <string.h>

#include "quorvane/portable.hpp"
#include "quorvane/portable_simulated_host.hpp"

#ifdef _WIN32
// Declared here: Wine's windows.h does not compile as C++ for this target.
extern "C" __declspec(dllimport) long __stdcall CoInitializeEx(void* reserved, unsigned long mode);
extern "C" __declspec(dllimport) long __stdcall DllRegisterServer(void);
#endif

namespace {

using namespace quorvane::portable;

int failures = 0;

#define CHECK(condition)                                                            \
  do {                                                                              \
    if (!(condition)) {                                                             \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                                   \
    }                                                                               \
  } while (0)

bool Same(const char* a, const char* b) {
  return a != nullptr && b != nullptr && strcmp(a, b) == 0;
}

struct Copy {
  char text[128] = {};
  explicit Copy(const char* from) {
    if (from != nullptr && strlen(from) < sizeof text) {
      strcpy(text, from);
    }
  }
};

void InventoryAndBackupRoad() {
  SimulatedHost host = SimulatedHost::Create();
  const Copy web(host.AddMachine("web", true, 2));
  host.AddMachine("db", false, 3);
  host.AddDiskFile("D:\\web.vhdx", 40ull << 30);
  host.AttachDisk(web.text, "D:\\web.vhdx");
  Quorvane root = host.CreateQuorvane();

  int machines = 0;
  for (auto& machine : root.CreateMachineEnumerator()) {
    CHECK(Same(machine.GetName(), "web") || Same(machine.GetName(), "db"));
    ++machines;
  }
  CHECK(machines == 2);

  SnapshotManagement snapshots = root.CreateSnapshotManagement(web.text);
  bool fellBack = false;
  CHECK(snapshots.CreateRecoverySnapshot(true, &fellBack) == 1 && !fellBack);
  const Copy recovery(snapshots.GetLastSnapshotId());
  CHECK(snapshots.IsRecoverySnapshot(recovery.text));
  char kept[128] = {};
  for (auto& disk : snapshots.GetChangeEnumerator(recovery.text)) {
    strncpy(kept, disk.GetChangeTrackingId(), sizeof kept - 1);
  }
  CHECK(strncmp(kept, "rctX:", 5) == 0);

  host.WriteToDisk("D:\\web.vhdx", 1 << 20, 100);
  MachineInfo info = root.CreateMachineManagement(false).GetMachineInfo(web.text);
  DiskEnumerator disks = info.CreateDiskEnumerator(false);
  CHECK(disks.Next());
  int ranges = 0;
  for (auto& range : disks.GetDiskChangeEnumerator(kept)) {
    CHECK(range.GetOffset() == 1 << 20 && range.GetLength() == 4096);
    ++ranges;
  }
  CHECK(ranges == 1);

  host.ExpireChangeTracking("D:\\web.vhdx");
  bool unusable = false;
  try {
    disks.GetDiskChangeEnumerator(kept);
  } catch (const Error& failure) {
    unusable = failure.IsChangeTrackingUnusable();
  }
  CHECK(unusable);
}

void DefiningAndFailures() {
  SimulatedHost host = SimulatedHost::Create();
  const Copy lan(host.AddSwitch("LAN"));
  Quorvane root = host.CreateQuorvane();
  MachineBuilder builder = root.CreateMachineBuilder();
  builder.SetGeneration2(true);
  builder.SetName("new");
  builder.SetProcessorCount(2);
  builder.AddNetworkAdapterWithVlan(lan.text, 12);
  builder.Commit();
  const Copy made(builder.GetMachineId());
  MachineManagement management = root.CreateMachineManagement(false);
  CHECK(management.GetMachineInfo(made.text).GetProcessorCount() == 2);

  bool caught = false;
  try {
    management.Start("no-such-machine");
  } catch (const VmNotFoundError& failure) {
    caught = failure.GetErrorCode() == QV_LIBRARY_ERROR &&
             Same(failure.GetMessageDescription(), "Cannot find machine: no-such-machine");
  }
  CHECK(caught);

  host.FailJobs("Msvm_ComputerSystem", "RequestStateChange", 0, "could not start");
  qv_status code = 0;
  try {
    management.Start(made.text);
  } catch (const Error& failure) {
    code = failure.GetErrorCode();
    CHECK(Same(failure.GetMessageDescription(), "could not start"));
  }
  CHECK(code == 32788);

  caught = false;
  try {
    SimulatedHost::FromJson("{", "broken.json");
  } catch (const Error& failure) {
    caught = strstr(failure.GetMessageDescription(), "broken.json") != nullptr;
  }
  CHECK(caught);
}

}  // namespace

int main() {
#ifdef _WIN32
  if (CoInitializeEx(nullptr, 0 /* multithreaded */) < 0 || DllRegisterServer() < 0) {
    fprintf(stderr, "cannot serve the simulated host\n");
    return 2;
  }
#endif
  try {
    InventoryAndBackupRoad();
    DefiningAndFailures();
  } catch (const Error& failure) {
    fprintf(stderr, "unexpected failure 0x%08X: %s\n", failure.GetErrorCode(),
            failure.GetMessageDescription());
    ++failures;
  }
  printf("C++ layer: %s (%d failed checks)\n", failures == 0 ? "passed" : "FAILED", failures);
  return failures == 0 ? 0 : 1;
}
