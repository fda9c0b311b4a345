// Every wide-string argument of the public operations given hostile text and identifiers of the
// wrong kind: each call ends in a library exception with a message, or does what it does with
// a well-formed argument; none acts on an object it does not name.
#include <iostream>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

using sim::SimulatedHost;

constexpr std::uint64_t kGiB = 1ull << 30;

struct Host {
  SimulatedHost host = SimulatedHost::Create();
  std::wstring running;
  std::wstring checkpoint;
  std::wstring lan;
  std::wstring diskId;
  Owned<IQuorvane> root;

  Host() {
    running = host.AddMachine({.name = L"web", .enabledState = 2});
    host.AddMachine({.name = L"db", .enabledState = 3});
    lan = host.AddSwitch(L"LAN");
    diskId = host.AddDiskFile(L"D:\\web.vhdx", 40 * kGiB);
    host.AddDiskFile(L"E:\\new.vhdx", kGiB);
    host.AttachDisk(running, L"D:\\web.vhdx");
    checkpoint = host.AddSnapshot(running, L"before update");
    root = Own(host.CreateQuorvane());
  }

  Owned<IMachineManagement> Management() { return Own(root->CreateMachineManagement(false)); }
  Owned<ISnapshotManagement> Snapshots() {
    return Own(root->CreateSnapshotManagement(running.c_str()));
  }
};

// One wide-string argument of one operation; the others are well formed.
struct Argument {
  const char* name;
  std::function<void(Host&, const wchar_t*)> use;
  // The argument names an existing object, and the call changes no machine when it names none.
  bool names = true;
  bool nullAccepted = false;  // null stands for a default (the local host, no credentials)
};

void Walk(IMachineEnumerator& entries) {
  while (entries.Next()) {
    entries.GetName();
  }
}

void Commit(Host& h, const std::function<void(IMachineBuilder&)>& set) {
  auto builder = Own(h.root->CreateMachineBuilder());
  set(*builder);
  builder->Commit();
}

std::vector<Argument> Arguments() {
  return {
      {"root: host", [](Host& h, const wchar_t* a) { Own(h.host.CreateQuorvane(a, L"u", L"p")); },
       true, true},
      {"root: user",
       [](Host& h, const wchar_t* a) { Own(h.host.CreateQuorvane(L"HV-HOST01", a, L"p")); }, false,
       true},
      {"root: password",
       [](Host& h, const wchar_t* a) { Own(h.host.CreateQuorvane(L"HV-HOST01", L"u", a)); }, false,
       true},
      {"CreateSnapshotManagement",
       [](Host& h, const wchar_t* a) {
         Walk(*Own(Own(h.root->CreateSnapshotManagement(a))->EnumerateSnapshots()));
       }},
      {"CreateMachineEditor",
       [](Host& h, const wchar_t* a) { Own(h.root->CreateMachineEditor(a))->Commit(); }},
      {"Start", [](Host& h, const wchar_t* a) { h.Management()->Start(a); }},
      {"PowerOff", [](Host& h, const wchar_t* a) { h.Management()->PowerOff(a); }},
      {"Save", [](Host& h, const wchar_t* a) { h.Management()->Save(a); }},
      {"DeleteMachine", [](Host& h, const wchar_t* a) { h.Management()->DeleteMachine(a); }},
      {"GetEnabledState", [](Host& h, const wchar_t* a) { h.Management()->GetEnabledState(a); }},
      {"GetOperationalStatus",
       [](Host& h, const wchar_t* a) { h.Management()->GetOperationalStatus(a); }},
      {"GetMachineInfo",
       [](Host& h, const wchar_t* a) {
         Own(Own(h.Management()->GetMachineInfo(a))->CreateDiskEnumerator(true));
       }},
      {"IsRecoverySnapshot",
       [](Host& h, const wchar_t* a) { h.Snapshots()->IsRecoverySnapshot(a); }},
      {"ApplySnapshot", [](Host& h, const wchar_t* a) { h.Snapshots()->ApplySnapshot(a); }},
      {"DestroySnapshot",
       [](Host& h, const wchar_t* a) { h.Snapshots()->DestroySnapshot(a, true); }},
      {"RenameSnapshot: checkpoint",
       [](Host& h, const wchar_t* a) { h.Snapshots()->RenameSnapshot(a, L"renamed"); }},
      {"RenameSnapshot: name",
       [](Host& h, const wchar_t* a) { h.Snapshots()->RenameSnapshot(h.checkpoint.c_str(), a); },
       false},
      {"GetSnapshotInfo",
       [](Host& h, const wchar_t* a) { Own(h.Snapshots()->GetSnapshotInfo(a))->GetName(); }},
      {"GetChangeEnumerator",
       [](Host& h, const wchar_t* a) { Own(h.Snapshots()->GetChangeEnumerator(a))->Next(); }},
      {"GetDiskChangeEnumerator",
       [](Host& h, const wchar_t* a) {
         auto disks = Own(
             Own(h.Management()->GetMachineInfo(h.running.c_str()))->CreateDiskEnumerator(false));
         disks->Next();
         Own(disks->GetDiskChangeEnumerator(a))->Next();
       }},
      {"builder SetName",
       [](Host& h, const wchar_t* a) { Commit(h, [&](IMachineBuilder& b) { b.SetName(a); }); },
       false},
      {"builder SetVersion",
       [](Host& h, const wchar_t* a) { Commit(h, [&](IMachineBuilder& b) { b.SetVersion(a); }); },
       false},
      {"builder SetConfigurationDataRoot",
       [](Host& h, const wchar_t* a) {
         Commit(h, [&](IMachineBuilder& b) { b.SetConfigurationDataRoot(a); });
       },
       false},
      {"builder SetSnapshotDataRoot",
       [](Host& h, const wchar_t* a) {
         Commit(h, [&](IMachineBuilder& b) { b.SetSnapshotDataRoot(a); });
       },
       false},
      {"builder AddDisk",
       [](Host& h, const wchar_t* a) { Commit(h, [&](IMachineBuilder& b) { b.AddDisk(a); }); },
       false},
      {"builder AddNetworkAdapter",
       [](Host& h, const wchar_t* a) {
         Commit(h, [&](IMachineBuilder& b) { b.AddNetworkAdapter(a); });
       },
       false},
      {"builder AddNetworkAdapterWithVlan",
       [](Host& h, const wchar_t* a) {
         Commit(h, [&](IMachineBuilder& b) { b.AddNetworkAdapterWithVlan(a, 12); });
       },
       false},
  };
}

struct Value {
  const char* name;
  std::function<std::wstring(const Host&)> text;
};

std::vector<Value> Values() {
  return {
      {"empty", [](const Host&) { return L""; }},
      {"1 MB", [](const Host&) { return std::wstring(1 << 20, L'x'); }},
      {"quoted", [](const Host& h) { return L"x\" OR Name=\"" + h.running + L"' OR '1'='1"; }},
      {"backslashed", [](const Host&) { return std::wstring(L"D:\\VMs\\..\\web\\\\\"\\"); }},
      {"braced", [](const Host& h) { return L"{" + h.running + L"}"; }},
      {"non-BMP", [](const Host&) { return std::wstring(L"\U0001F600-\U00010348-vm"); }},
      {"a checkpoint's id", [](const Host& h) { return h.checkpoint; }},
      {"a machine's id", [](const Host& h) { return h.running; }},
      {"a disk's id", [](const Host& h) { return h.diskId; }},
      {"a switch's id", [](const Host& h) { return h.lan; }},
  };
}

// What the host looks like, for telling that a call acted on nothing it was not asked to.
std::vector<std::wstring> Machines(IQuorvane& root) {
  std::vector<std::wstring> machines;
  auto entries = Own(root.CreateMachineEnumerator());
  while (entries->Next()) {
    machines.push_back(entries->GetName());
  }
  return machines;
}

TEST(BadInputTest, HostileStringsEndCleanly) {
  int calls = 0;
  int refused = 0;
  for (const auto& argument : Arguments()) {
    if (!argument.nullAccepted) {
      Host h;
      SCOPED_TRACE(argument.name);
      const auto failure = Raised([&] { argument.use(h, nullptr); });
      EXPECT_NE(std::wstring(failure.GetMessageDescription()), L"") << argument.name << ": null";
      ++calls;
      ++refused;
    }
    for (const auto& value : Values()) {
      Host h;
      const std::wstring text = value.text(h);
      const auto before = Machines(*h.root);
      ++calls;
      try {
        argument.use(h, text.c_str());
      } catch (const DefaultException& e) {
        ++refused;
        EXPECT_NE(std::wstring(e.GetMessageDescription()), L"")
            << argument.name << ", " << value.name;
        continue;
      }
      if (!argument.names) {
        continue;
      }
      // Hostile text that names nothing must not reach an object.
      if (std::string(value.name).rfind("a ", 0) != 0) {
        EXPECT_EQ(Machines(*h.root), before) << argument.name << ", " << value.name;
        EXPECT_EQ(h.Management()->GetEnabledState(h.running.c_str()), 2u)
            << argument.name << ", " << value.name;
      }
    }
  }
  std::cout << "bad input: " << calls << " calls, " << refused << " refused with a message\n";
}

}  // namespace
}  // namespace quorvane::testing
