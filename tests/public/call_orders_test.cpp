// The calls one public operation makes, kept as data: each folder of tests/calls holds a case
// (case.txt: the host's scenario, the operation and its machine) and the calls it must make
// (calls.txt). Set QUORVANE_REGENERATE_CALLS=1 to rewrite calls.txt after a deliberate change,
// so that a reviewer reads a change of call order as a text diff.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "call_log_text.h"
#include "public_fixture.h"

namespace quorvane::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kCases = QUORVANE_CALL_CASES_DIR;
// The switches of the hosts in tests/calls/hosts.
constexpr wchar_t kExternalSwitch[] = L"6F9B6DAE-6F4C-47A8-AAC2-CE17A5794A3B";
constexpr wchar_t kInternalSwitch[] = L"A534A6A6-B7FD-4B63-90BA-D0DA572BAAF1";

std::map<std::string, std::string> ReadCase(const fs::path& file) {
  std::map<std::string, std::string> entries;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    const auto equals = line.find(" = ");
    if (!line.empty() && line[0] != '#' && equals != std::string::npos) {
      entries[line.substr(0, equals)] = line.substr(equals + 3);
    }
  }
  return entries;
}

std::string ReadFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::wstring Wide(const std::string& text) {
  return {text.begin(), text.end()};
}

// One run of a case: what the preparation leaves for the operation.
struct CaseRun {
  IQuorvane& root;
  sim::SimulatedHost& host;
  std::wstring machine;
  std::wstring checkpoint;                    // the newest recovery checkpoint
  std::map<std::wstring, std::wstring> kept;  // change tracking identifiers by disk
};

// What a case runs: `prepare` before the log is cleared, `operation` after.
struct Operation {
  std::function<void(CaseRun&)> prepare;
  std::function<void(CaseRun&)> operation;
};

void Nothing(CaseRun&) {}

void RecoveryCheckpoint(CaseRun& run) {
  auto snapshots = Own(run.root.CreateSnapshotManagement(run.machine.c_str()));
  snapshots->CreateRecoverySnapshot(true, nullptr);
  run.checkpoint = snapshots->GetLastSnapshotId();
}

void KeepChangeTrackingIds(CaseRun& run) {
  RecoveryCheckpoint(run);
  auto snapshots = Own(run.root.CreateSnapshotManagement(run.machine.c_str()));
  auto changes = Own(snapshots->GetChangeEnumerator(run.checkpoint.c_str()));
  while (changes->Next()) {
    run.kept[changes->GetDiskId()] = changes->GetChangeTrackingId();
  }
  run.host.WriteToDisk(L"D:\\Hyper-V\\web-01\\data.vhdx", 1 << 20, 8192);
}

// An operation that edits the case's machine as `edit` says, then commits.
std::function<void(CaseRun&)> EditAndCommit(std::function<void(IMachineEditor&)> edit) {
  return [edit = std::move(edit)](CaseRun& run) {
    auto editor = Own(run.root.CreateMachineEditor(run.machine.c_str()));
    edit(*editor);
    editor->Commit();
  };
}

// The same for a new machine.
std::function<void(CaseRun&)> BuildAndCommit(std::function<void(IMachineBuilder&)> build) {
  return [build = std::move(build)](CaseRun& run) {
    auto builder = Own(run.root.CreateMachineBuilder());
    build(*builder);
    builder->Commit();
  };
}

const std::map<std::string, Operation>& Operations() {
  static const std::map<std::string, Operation> operations = {
      {"start",
       {Nothing,
        [](CaseRun& run) {
          Own(run.root.CreateMachineManagement(false))->Start(run.machine.c_str());
        }}},
      {"power-off",
       {Nothing,
        [](CaseRun& run) {
          Own(run.root.CreateMachineManagement(false))->PowerOff(run.machine.c_str());
        }}},
      {"save",
       {Nothing,
        [](CaseRun& run) {
          Own(run.root.CreateMachineManagement(false))->Save(run.machine.c_str());
        }}},
      {"delete-machine",
       {Nothing,
        [](CaseRun& run) {
          Own(run.root.CreateMachineManagement(false))->DeleteMachine(run.machine.c_str());
        }}},
      {"recovery-checkpoint", {Nothing, RecoveryCheckpoint}},
      {"change-enumerator",
       {RecoveryCheckpoint,
        [](CaseRun& run) {
          auto snapshots = Own(run.root.CreateSnapshotManagement(run.machine.c_str()));
          Own(snapshots->GetChangeEnumerator(run.checkpoint.c_str()));
        }}},
      {"disk-changes",
       {KeepChangeTrackingIds,
        [](CaseRun& run) {
          auto management = Own(run.root.CreateMachineManagement(false));
          auto info = Own(management->GetMachineInfo(run.machine.c_str()));
          auto disks = Own(info->CreateDiskEnumerator(false));
          while (disks->Next()) {
            auto ranges =
                Own(disks->GetDiskChangeEnumerator(run.kept.at(disks->GetDiskId()).c_str()));
            while (ranges->Next()) {
            }
          }
        }}},
      {"builder-commit",
       {[](CaseRun& run) { run.host.AddDiskFile(L"D:\\Hyper-V\\app-01\\app.vhdx", 40ull << 30); },
        BuildAndCommit([](IMachineBuilder& builder) {
          builder.SetName(L"app-01");
          builder.SetGeneration2(true);
          builder.SetMemorySize(2048);
          builder.SetDynamicMemory(true);
          builder.SetProcessorCount(2);
          builder.AddDisk(L"D:\\Hyper-V\\app-01\\app.vhdx");
          builder.AddNetworkAdapterWithVlan(kExternalSwitch, 42);
        })}},
      {"editor-commit",
       {[](CaseRun& run) { run.host.AddDiskFile(L"D:\\Hyper-V\\db-01\\logs.vhdx", 20ull << 30); },
        EditAndCommit([](IMachineEditor& editor) {
          editor.SetMemorySize(16384);
          editor.SetProcessorCount(4);
          editor.AddDisk(L"D:\\Hyper-V\\db-01\\logs.vhdx");
          editor.AddNetworkAdapter(kInternalSwitch);
        })}},
      {"builder-commit-generation-1",
       {[](CaseRun& run) {
          run.host.AddDiskFile(L"D:\\Hyper-V\\legacy-02\\system.vhdx", 40ull << 30);
        },
        BuildAndCommit([](IMachineBuilder& builder) {
          builder.SetSecureBoot(true);
          builder.SetDynamicMemory(false);
          builder.SetMemorySize(4096);
          builder.AddDisk(L"D:\\Hyper-V\\legacy-02\\system.vhdx");
          builder.AddNetworkAdapterWithVlan(kExternalSwitch, 0);
          builder.AddNetworkAdapterWithVlan(L"", 7);
        })}},
      {"editor-commit-dynamic-memory-off", {Nothing, EditAndCommit([](IMachineEditor& editor) {
                                              editor.SetDynamicMemory(false);
                                              editor.SetProcessorCount(2);
                                            })}},
      {"editor-commit-dynamic-memory-on", {Nothing, EditAndCommit([](IMachineEditor& editor) {
                                             editor.SetDynamicMemory(true);
                                             editor.SetSecureBoot(true);
                                           })}},
      {"editor-commit-security",
       {Nothing, EditAndCommit([](IMachineEditor& editor) { editor.SetName(L"vault-02"); })}},
      {"checkpoint-list",
       {Nothing,
        [](CaseRun& run) {
          auto snapshots = Own(run.root.CreateSnapshotManagement(run.machine.c_str()));
          Own(snapshots->EnumerateSnapshots());
        }}},
  };
  return operations;
}

std::vector<std::string> CaseNames() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(kCases)) {
    if (fs::exists(entry.path() / "case.txt")) {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

class CallOrderTest : public ::testing::TestWithParam<std::string> {};

TEST_P(CallOrderTest, MakesTheKeptCalls) {
  const fs::path folder = kCases / GetParam();
  auto entries = ReadCase(folder / "case.txt");
  const auto operation = Operations().find(entries["operation"]);
  ASSERT_NE(operation, Operations().end()) << "unknown operation " << entries["operation"];
  auto host = sim::SimulatedHost::LoadScenario(kCases / "hosts" / entries["host"]);
  TrackHost(host);
  auto root = Own(host.CreateQuorvane());
  CaseRun run{*root, host, Wide(entries["machine"]), L"", {}};
  operation->second.prepare(run);
  host.ClearCallLog();
  operation->second.operation(run);
  const std::string calls = NumberGuids(CallLogText(host.CallLog()));

  const char* regenerate = std::getenv("QUORVANE_REGENERATE_CALLS");
  if (regenerate != nullptr && std::string(regenerate) == "1") {
    std::ofstream(folder / "calls.txt", std::ios::binary) << calls;
    GTEST_SKIP() << "rewrote " << (folder / "calls.txt").string();
  }
  EXPECT_EQ(calls, ReadFile(folder / "calls.txt"))
      << "the calls changed; after a deliberate change, run again with "
         "QUORVANE_REGENERATE_CALLS=1 and review the diff";
}

std::string TestNameOf(const ::testing::TestParamInfo<std::string>& folder) {
  std::string name = folder.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Cases, CallOrderTest, ::testing::ValuesIn(CaseNames()), TestNameOf);

}  // namespace
}  // namespace quorvane::testing
