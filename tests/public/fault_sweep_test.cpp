// Every WMI call of each public operation failed in turn: the operation must end in the library
// exception carrying the injected code, and the objects made before must go on working. Run in
// the sanitizer build, which also catches a crash or a leak on any of these paths.
#include <array>
#include <iostream>
#include <optional>
#include <sstream>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

using sim::Call;
using sim::FaultKind;
using sim::SimulatedHost;

constexpr std::uint64_t kGiB = 1ull << 30;
constexpr std::uint32_t kStatus = 0x80041001;  // WBEM_E_FAILED: no special handling anywhere
constexpr std::uint32_t kReturnValue = 32768;  // "Failed"
constexpr std::uint16_t kJobError = 32769;
constexpr wchar_t kJobDescription[] = L"injected job failure";
// What the library reads apart from other failures.
constexpr std::uint32_t kInvalidState = 32775;
constexpr std::uint32_t kInvalidParameter = 32773;
constexpr std::uint32_t kLocalCredentials = 0x80041064;   // WBEM_E_LOCAL_CREDENTIALS
constexpr std::uint32_t kServerUnavailable = 0x800706BA;  // RPC_S_SERVER_UNAVAILABLE

// What each call is failed with in one sweep: a WMI status, a method's return value, a job's
// error code; none where absent.
struct FaultKinds {
  std::optional<std::uint32_t> status;
  std::optional<std::uint32_t> returnValue;
  std::optional<std::uint16_t> jobError;
};

// The host every swept operation starts from, and the names the operations need.
struct Scene {
  SimulatedHost host = SimulatedHost::Create();
  std::wstring running;  // with two disks, a DVD, a checkpoint and a recovery checkpoint
  std::wstring off;
  std::wstring checkpoint;
  std::wstring offCheckpoint;
  std::wstring recovery;
  std::wstring secured;  // TPM and encrypted state
  std::wstring lan;
  std::wstring changeTrackingId;
  bool fellBack = false;  // a recovery checkpoint's application-consistent attempt failed

  Scene() {
    running = host.AddMachine({.name = L"web", .enabledState = 2});
    off = host.AddMachine({.name = L"db", .enabledState = 3});
    secured = host.AddMachine({.name = L"vault", .enabledState = 3});
    host.SetMachineSecurity(secured, true, false, true);
    lan = host.AddSwitch(L"LAN");
    host.AddDiskFile(L"D:\\web.vhdx", 40 * kGiB);
    host.AddDiskFile(L"D:\\web-data.vhdx", 100 * kGiB);
    host.AddDiskFile(L"E:\\new.vhdx", kGiB);
    host.AttachDisk(running, L"D:\\web.vhdx");
    host.AttachDisk(running, L"D:\\web-data.vhdx");
    host.AttachDvd(running, L"D:\\iso\\setup.iso");
    checkpoint = host.AddSnapshot(running, L"before update");
    recovery = host.AddSnapshot(running, L"", true);
    offCheckpoint = host.AddSnapshot(off, L"known good");
  }
};

struct Operation {
  const char* name;
  // Runs the operation and walks whatever it returns, so that every call it makes is made.
  std::function<void(Scene&, IQuorvane*)> run;
  // Readies the scene through a root, before the log is cleared.
  std::function<void(Scene&, IQuorvane&)> prepare = nullptr;
  // Whether what happened is the operation's documented handling of a failure of that call.
  std::function<bool(const Call&, bool raised, const Scene&)> documented = nullptr;
};

struct Outcome {
  bool raised = false;
  std::uint32_t code = 0;
  std::wstring message;
};

// The host guardian namespace is optional: a root is made without it.
bool GuardianConnectSkipped(const Call& call, bool raised, const Scene&) {
  return !raised && call.operation == L"Connect" && call.target.find(L"hgs") != std::wstring::npos;
}

// A connection refused while the marker for an explicitly empty user was sent is tried again
// with the user as given.
bool RetriedWithoutMarker(const Call& call, bool raised, const Scene& scene) {
  return GuardianConnectSkipped(call, raised, scene) ||
         (!raised && call.operation == L"Connect" &&
          call.Input(L"User").find(L"fake") != std::wstring::npos);
}

// A failed application-consistent attempt falls back to a crash-consistent one.
bool FellBack(const Call&, bool raised, const Scene& scene) {
  return !raised && scene.fellBack;
}

std::string Narrow(const std::wstring& text) {
  return std::string(text.begin(), text.end());
}

void WalkDisks(IMachineInfo& info) {
  auto disks = Own(info.CreateDiskEnumerator(true));
  while (disks->Next()) {
    disks->GetDiskId();
    disks->GetPath();
    disks->GetBasePath();
    disks->GetMaxInternalSize();
  }
}

void ReadMachine(IMachineInfo& info) {
  info.GetName();
  info.GetMemory();
  info.GetProcessorCount();
  info.GetVersion();
  info.GetConfigurationDataRoot();
  info.GetGuestStateFile();
  WalkDisks(info);
}

void WalkMachines(IMachineEnumerator& machines) {
  while (machines.Next()) {
    machines.GetName();
    machines.GetParentId();
    ReadMachine(*Own(machines.GetMachineInfo()));
  }
}

Owned<ISnapshotManagement> Snapshots(IQuorvane* root, const Scene& scene) {
  return Own(root->CreateSnapshotManagement(scene.running.c_str()));
}

void TakeRecoveryCheckpoint(Scene& scene, IQuorvane& root) {
  auto snapshots = Snapshots(&root, scene);
  snapshots->CreateRecoverySnapshot(true, nullptr);
  scene.recovery = snapshots->GetLastSnapshotId();
}

void Build(IQuorvane* root, const std::function<void(IMachineBuilder&)>& configure) {
  auto builder = Own(root->CreateMachineBuilder());
  configure(*builder);
  builder->Commit();
  builder->GetMachineId();
}

std::vector<Operation> Operations() {
  auto management = [](IQuorvane* root) { return Own(root->CreateMachineManagement(false)); };
  return {
      {"root (local)", [](Scene& s, IQuorvane*) { Own(s.host.CreateQuorvane()); }, nullptr,
       GuardianConnectSkipped},
      {"root (remote, with credentials)",
       [](Scene& s, IQuorvane*) { Own(s.host.CreateQuorvane(L"HV-HOST01", L"admin", L"pw")); },
       nullptr, GuardianConnectSkipped},
      {"root (remote, explicitly empty user)",
       [](Scene& s, IQuorvane*) { Own(s.host.CreateQuorvane(L"HV-HOST01", L"", L"pw")); }, nullptr,
       RetriedWithoutMarker},
      {"root (local, with a user name)",
       [](Scene& s, IQuorvane*) { Own(s.host.CreateQuorvane(nullptr, L"admin", L"pw")); }, nullptr,
       GuardianConnectSkipped},
      {"machine enumerator",
       [](Scene&, IQuorvane* root) { WalkMachines(*Own(root->CreateMachineEnumerator())); }},
      {"machine record and disks",
       [=](Scene& s, IQuorvane* root) {
         ReadMachine(*Own(management(root)->GetMachineInfo(s.running.c_str())));
       }},
      {"switch enumerator",
       [](Scene&, IQuorvane* root) {
         auto switches = Own(root->CreateSwitchEnumerator());
         while (switches->Next()) {
           switches->GetName();
         }
       }},
      {"machine management with limits",
       [](Scene&, IQuorvane* root) {
         auto limits = Own(root->CreateMachineManagement(true));
         limits->GetMaximumMemory();
         limits->GetDefaultVirtualHardDiskPath();
       }},
      {"start", [=](Scene& s, IQuorvane* root) { management(root)->Start(s.off.c_str()); }},
      {"power off",
       [=](Scene& s, IQuorvane* root) { management(root)->PowerOff(s.running.c_str()); }},
      {"save", [=](Scene& s, IQuorvane* root) { management(root)->Save(s.running.c_str()); }},
      {"delete",
       [=](Scene& s, IQuorvane* root) { management(root)->DeleteMachine(s.off.c_str()); }},
      {"state",
       [=](Scene& s, IQuorvane* root) {
         auto machines = management(root);
         machines->GetEnabledState(s.running.c_str());
         machines->GetOperationalStatus(s.running.c_str());
       }},
      {"standard checkpoint",
       [](Scene& s, IQuorvane* root) { Snapshots(root, s)->CreateStandardSnapshot(); }},
      {"checkpoint of a type",
       [](Scene& s, IQuorvane* root) { Snapshots(root, s)->CreateSnapshotOfType(2, 1); }},
      {"recovery checkpoint",
       [](Scene& s, IQuorvane* root) {
         Snapshots(root, s)->CreateRecoverySnapshot(false, nullptr);
       }},
      {"recovery checkpoint with fallback",
       [](Scene& s, IQuorvane* root) {
         Snapshots(root, s)->CreateRecoverySnapshot(true, &s.fellBack);
       },
       nullptr, FellBack},
      {"is recovery",
       [](Scene& s, IQuorvane* root) {
         Snapshots(root, s)->IsRecoverySnapshot(s.recovery.c_str());
       }},
      {"apply",
       [](Scene& s, IQuorvane* root) {
         Own(root->CreateSnapshotManagement(s.off.c_str()))->ApplySnapshot(s.offCheckpoint.c_str());
       }},
      {"remove with subtree",
       [](Scene& s, IQuorvane* root) {
         Snapshots(root, s)->DestroySnapshot(s.checkpoint.c_str(), true);
       }},
      {"rename",
       [](Scene& s, IQuorvane* root) {
         Snapshots(root, s)->RenameSnapshot(s.checkpoint.c_str(), L"renamed");
       }},
      {"last checkpoint and its record",
       [](Scene& s, IQuorvane* root) {
         auto snapshots = Snapshots(root, s);
         snapshots->GetLastSnapshotId();
         ReadMachine(*Own(snapshots->GetSnapshotInfo(s.checkpoint.c_str())));
       }},
      {"checkpoint enumerator",
       [](Scene& s, IQuorvane* root) {
         WalkMachines(*Own(Snapshots(root, s)->EnumerateSnapshots()));
       }},
      {"change enumerator",
       [](Scene& s, IQuorvane* root) {
         auto changes = Own(Snapshots(root, s)->GetChangeEnumerator(s.recovery.c_str()));
         while (changes->Next()) {
           changes->GetChangeTrackingId();
         }
       },
       TakeRecoveryCheckpoint},
      {"disk change enumerator",
       [=](Scene& s, IQuorvane* root) {
         auto info = Own(management(root)->GetMachineInfo(s.running.c_str()));
         auto disks = Own(info->CreateDiskEnumerator(false));
         disks->Next();
         auto ranges = Own(disks->GetDiskChangeEnumerator(s.changeTrackingId.c_str()));
         while (ranges->Next()) {
           ranges->GetLength();
         }
       },
       [](Scene& s, IQuorvane& root) {
         TakeRecoveryCheckpoint(s, root);
         auto changes = Own(Snapshots(&root, s)->GetChangeEnumerator(s.recovery.c_str()));
         changes->Next();
         s.changeTrackingId = changes->GetChangeTrackingId();
         s.host.WriteToDisk(L"D:\\web.vhdx", 0, 1 << 20);
       }},
      {"builder with a disk, a VLAN adapter and dynamic memory",
       [](Scene& s, IQuorvane* root) {
         Build(root, [lan = s.lan](IMachineBuilder& b) {
           b.SetName(L"new");
           b.SetGeneration2(true);
           b.SetDynamicMemory(true);
           b.SetProcessorCount(2);
           b.AddDisk(L"E:\\new.vhdx");
           b.AddNetworkAdapterWithVlan(lan.c_str(), 12);
           b.SetSecureBoot(true);
         });
       }},
      {"editor with adapters",
       [](Scene& s, IQuorvane* root) {
         auto editor = Own(root->CreateMachineEditor(s.off.c_str()));
         editor->SetMemorySize(2048);
         editor->AddNetworkAdapter(s.lan.c_str());
         editor->AddDisconnectedNetworkAdapter();
         editor->Commit();
       }},
      {"editor of a TPM machine",
       [](Scene& s, IQuorvane* root) {
         Own(root->CreateMachineEditor(s.secured.c_str()))->Commit();
       }},
  };
}

Outcome RunOnce(Scene& scene, const Operation& operation, IQuorvane* root) {
  try {
    operation.run(scene, root);
    return {};
  } catch (const DefaultException& e) {
    return {true, e.GetErrorCode(), e.GetMessageDescription()};
  }
}

// The class a method was called on, from the object path the call names.
std::wstring ClassOf(const std::wstring& path) {
  const auto colon = path.find(L':');
  const auto start = colon == std::wstring::npos ? 0 : colon + 1;
  return path.substr(start, path.find(L'.', start) - start);
}

bool StartsJob(const std::vector<Call>& calls, std::size_t at) {
  return at + 1 < calls.size() && calls[at + 1].operation == L"GetObject" &&
         calls[at + 1].target.find(L"Job.InstanceID=") != std::wstring::npos;
}

struct Figures {
  int points = 0;
  int asExpected = 0;
  int documented = 0;  // of those, the operation's documented handling rather than an exception
  std::vector<std::string> deviations;
};

// The failures the library reads apart from the others, where the call fails with them, and
// goes on: a conversion refused in the machine's state is tried again, a drive's place that is
// taken makes way for the next one, a change query refused for reaching the end of the disk is
// asked one byte shorter, and a host that is the local one is reached without credentials.
bool HandledApart(const Call& call, std::uint32_t code, bool raised) {
  if (raised) {
    return false;
  }
  return (code == kInvalidState &&
          (call.method == L"ConvertToReferencePoint" || call.method == L"AddResourceSettings")) ||
         (code == kInvalidParameter && call.method == L"GetVirtualDiskChanges") ||
         (code == kLocalCredentials && call.operation == L"Connect");
}

// Fails one call as `inject` says and checks that the operation raised `code`, and that the
// root made before still answers once the fault is gone.
void Inject(const Operation& operation, const Call& call, const std::string& where,
            std::uint32_t code, const std::function<void(SimulatedHost&)>& inject,
            Figures& figures) {
  Scene scene;
  auto root = Own(scene.host.CreateQuorvane());
  if (operation.prepare) {
    operation.prepare(scene, *root);
  }
  scene.host.ClearCallLog();
  inject(scene.host);
  const Outcome outcome = RunOnce(scene, operation, root.get());
  ++figures.points;
  if (outcome.raised && outcome.code == code) {
    ++figures.asExpected;
  } else if ((operation.documented && operation.documented(call, outcome.raised, scene)) ||
             HandledApart(call, code, outcome.raised)) {
    ++figures.asExpected;
    ++figures.documented;
  } else {
    std::ostringstream text;
    text << operation.name << ", " << where << ": "
         << (outcome.raised ? "raised 0x" : "raised nothing");
    if (outcome.raised) {
      text << std::hex << outcome.code;
    }
    figures.deviations.push_back(text.str());
  }
  scene.host.ClearFaults();
  EXPECT_NO_THROW(WalkMachines(*Own(root->CreateMachineEnumerator())))
      << operation.name << ", " << where << ": the root made before stopped working";
}

void Sweep(const Operation& operation, const FaultKinds& kinds, Figures& figures) {
  std::vector<Call> calls;
  {
    Scene scene;
    auto root = Own(scene.host.CreateQuorvane());
    if (operation.prepare) {
      operation.prepare(scene, *root);
    }
    scene.host.ClearCallLog();
    const Outcome healthy = RunOnce(scene, operation, root.get());
    ASSERT_FALSE(healthy.raised) << operation.name << ": " << Narrow(healthy.message);
    calls = scene.host.CallLog();
  }
  std::map<std::wstring, int> seen;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const Call& call = calls[i];
    const int nth = ++seen[call.operation];
    std::ostringstream where;
    where << "call " << i + 1 << " (" << Narrow(call.operation + L" " + call.method) << ")";
    if (call.operation == L"Wait") {
      continue;  // a pause cannot fail
    }
    if (const auto status = kinds.status) {
      Inject(
          operation, call, where.str() + " WMI status", *status,
          [&](SimulatedHost& host) { host.FailNthOperation(call.operation, L"", nth, *status); },
          figures);
    }
    if (call.operation != L"ExecMethod") {
      continue;
    }
    const std::wstring cls = ClassOf(call.target);
    const int nthMethod = ++seen[L"method " + cls + L"." + call.method];
    if (const auto value = kinds.returnValue) {
      Inject(
          operation, call, where.str() + " return value", *value,
          [&](SimulatedHost& host) { host.FailNthMethodCall(cls, call.method, nthMethod, *value); },
          figures);
    }
    if (const auto jobError = kinds.jobError; jobError && StartsJob(calls, i)) {
      Inject(
          operation, call, where.str() + " failed job", *jobError,
          [&](SimulatedHost& host) {
            host.FailNthJob(cls, call.method, nthMethod, *jobError, kJobDescription);
          },
          figures);
    }
  }
}

void Report(const char* sweep, const Figures& figures) {
  std::cout << sweep << ": " << figures.points << " injection points, " << figures.asExpected
            << " as expected (" << figures.documented << " of them by documented handling), "
            << figures.deviations.size() << " deviations\n";
  for (const auto& deviation : figures.deviations) {
    std::cout << "  " << deviation << "\n";
  }
  EXPECT_TRUE(figures.deviations.empty());
}

TEST(FaultSweepTest, EveryCallOfEveryOperationFailedInTurn) {
  Figures figures;
  for (const auto& operation : Operations()) {
    Sweep(operation, {kStatus, kReturnValue, kJobError}, figures);
  }
  Report("fault sweep", figures);
}

// The same with each failure the library reads apart: it raises it where it is not its to
// handle, and goes on as documented where it is.
TEST(FaultSweepTest, EveryCallFailedWithWhatTheLibraryReadsApart) {
  const FaultKinds sweeps[] = {{std::nullopt, kInvalidState, kInvalidState},
                               {std::nullopt, kInvalidParameter, kInvalidParameter},
                               {kLocalCredentials, std::nullopt, std::nullopt},
                               {kServerUnavailable, std::nullopt, std::nullopt}};
  Figures figures;
  for (const auto& kinds : sweeps) {
    for (const auto& operation : Operations()) {
      Sweep(operation, kinds, figures);
    }
  }
  Report("fault sweep of what is read apart", figures);
}

// Failures that are not WMI statuses, at every call of every way of making a root: the plain
// entry point answers 0xFFFFFFFF and hands out nothing.
TEST(FaultSweepTest, PlainEntryPointLetsNothingEscape) {
  if (kThroughCom) {
    GTEST_SKIP() << "a host failure that is not a WMI status cannot cross COM";
  }
  const std::vector<std::array<const wchar_t*, 3>> connections = {{nullptr, nullptr, nullptr},
                                                                  {L"HV-HOST01", L"admin", L"pw"},
                                                                  {L"HV-HOST01", L"", L"pw"},
                                                                  {nullptr, L"admin", L"pw"}};
  int points = 0;
  for (const auto& [server, user, password] : connections) {
    Scene healthy;
    IQuorvane* root = nullptr;
    ASSERT_EQ(healthy.host.CreateQuorvane(server, user, password, &root), 0u);
    root->Release();
    std::map<std::wstring, int> seen;
    for (const auto& call : healthy.host.CallLog()) {
      const int nth = ++seen[call.operation];
      for (const FaultKind kind : {FaultKind::ComError, FaultKind::StandardException}) {
        Scene scene;
        scene.host.FailNthOperation(call.operation, L"", nth, 0x8007000E, kind);
        root = nullptr;
        const std::uint32_t code = scene.host.CreateQuorvane(server, user, password, &root);
        ++points;
        if (root != nullptr) {
          // Only a failure the connection layers swallow may leave a root to hand out.
          EXPECT_EQ(code, 0u);
          root->Release();
          continue;
        }
        EXPECT_EQ(code, 0xFFFFFFFFu) << Narrow(call.operation) << " " << nth;
      }
    }
  }
  std::cout << "plain entry point: " << points << " injection points\n";
}

}  // namespace
}  // namespace quorvane::testing
