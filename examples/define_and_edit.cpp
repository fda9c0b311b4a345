// Defines a machine with two disks and an adapter on a VLAN, then edits it: a new name, more
// memory, and one disk instead of two. Runs on the default simulated host.
#include <quorvane/owned.h>
#include <quorvane/quorvane.h>
#include <quorvane/simulated_host.h>

#include <cstdio>
#include <string>

namespace {

using quorvane::Own;

// The identifier of the switch called `name`.
std::wstring FindSwitch(quorvane::IQuorvane& root, const std::wstring& name) {
  auto switches = Own(root.CreateSwitchEnumerator());
  while (switches->Next()) {
    if (name == switches->GetName()) {
      return switches->GetId();
    }
  }
  throw quorvane::DefaultException(0xFFFFFFFF, (L"No switch " + name).c_str());
}

void Show(quorvane::IQuorvane& root, const std::wstring& machine) {
  auto management = Own(root.CreateMachineManagement(false));
  auto info = Own(management->GetMachineInfo(machine.c_str()));
  std::printf("  %ls: %lld MB, %lld processors, generation %d\n", info->GetName(),
              static_cast<long long>(info->GetMemory()),
              static_cast<long long>(info->GetProcessorCount()), info->IsGeneration2() ? 2 : 1);
  auto disks = Own(info->CreateDiskEnumerator(false));
  while (disks->Next()) {
    std::printf("    disk %ls on SCSI slot %u\n", disks->GetPath(), disks->GetLocation());
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    // The hand-written lab host beside the examples, or the scenario given.
    auto host =
        quorvane::sim::SimulatedHost::LoadScenario(argc > 1 ? argv[1] : QUORVANE_EXAMPLE_SCENARIO);
    for (const wchar_t* disk : {L"D:\\Hyper-V\\app\\system.vhdx", L"D:\\Hyper-V\\app\\data.vhdx",
                                L"D:\\Hyper-V\\app\\data-large.vhdx"}) {
      host.AddDiskFile(disk, 64ull << 30);
    }
    auto root = Own(host.CreateQuorvane());
    const std::wstring lan = FindSwitch(*root, L"External");

    auto builder = Own(root->CreateMachineBuilder());
    builder->SetName(L"app-01");
    builder->SetGeneration2(true);
    builder->SetSecureBoot(true);
    builder->SetMemorySize(2048);
    builder->SetProcessorCount(2);
    builder->AddDisk(L"D:\\Hyper-V\\app\\system.vhdx");
    builder->AddDisk(L"D:\\Hyper-V\\app\\data.vhdx");
    builder->AddNetworkAdapterWithVlan(lan.c_str(), 120);
    builder->Commit();
    const std::wstring machine = builder->GetMachineId();
    std::printf("Defined %ls:\n", machine.c_str());
    Show(*root, machine);

    auto editor = Own(root->CreateMachineEditor(machine.c_str()));
    editor->SetName(L"app-01-large");
    editor->SetMemorySize(8192);
    editor->AddDisk(L"D:\\Hyper-V\\app\\data-large.vhdx");
    editor->Commit();
    std::printf("Edited:\n");
    Show(*root, machine);
    return 0;
  } catch (const quorvane::DefaultException& e) {
    std::fprintf(stderr, "failed: 0x%08X %ls\n", e.GetErrorCode(), e.GetMessageDescription());
    return 1;
  }
}
