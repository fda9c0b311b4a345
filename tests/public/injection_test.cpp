// A caller's text never becomes part of a query: an identifier that carries quotes and a
// condition of its own names nothing, and a machine whose identifier and name carry quotes,
// backslashes and characters of any kind is found, listed and deleted, and only it. An
// identifier of the wrong kind is refused.
#include <random>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

// A host where every hostile text below would reach a victim if it could rewrite a query.
struct Victims {
  sim::SimulatedHost host = NewHost();
  std::wstring x;
  std::wstring running;
  std::wstring off;
  Owned<IQuorvane> root;

  Victims() {
    x = host.AddMachine({.name = L"x", .enabledState = 3});
    running = host.AddMachine({.name = L"victim", .enabledState = 2});
    off = host.AddMachine({.name = L"victim-off", .enabledState = 3});
    host.AddSnapshot(running, L"victim-cp");
    host.AddSwitch(L"LAN");
    root = Own(host.CreateQuorvane());
  }

  Owned<IMachineManagement> Management() { return Own(root->CreateMachineManagement(false)); }
  Owned<ISnapshotManagement> Snapshots(const wchar_t* machine) {
    return Own(root->CreateSnapshotManagement(machine));
  }

  // Everything the attacks aim at: each machine's name and state, and each checkpoint's name.
  std::vector<std::wstring> World() {
    std::vector<std::wstring> world;
    auto machines = Own(root->CreateMachineEnumerator());
    while (machines->Next()) {
      const std::wstring id = Own(machines->GetMachineInfo())->GetId();
      world.push_back(std::wstring(machines->GetName()) + L" " +
                      std::to_wstring(Management()->GetEnabledState(id.c_str())));
      auto checkpoints = Own(Snapshots(id.c_str())->EnumerateSnapshots());
      while (checkpoints->Next()) {
        world.push_back(L"  " + std::wstring(checkpoints->GetName()));
      }
    }
    return world;
  }
};

void ExpectNothingListed(IMachineEnumerator& entries) {
  EXPECT_FALSE(entries.Next()) << "listed a checkpoint of another machine";
}

struct Attack {
  const char* operation;
  const wchar_t* text;
  std::function<void(Victims&, const wchar_t*)> use;
};

constexpr wchar_t kVictim[] = L"x\" OR ElementName = \"victim";
constexpr wchar_t kVictimOff[] = L"x\" OR ElementName = \"victim-off";
constexpr wchar_t kCheckpoint[] = L"x\" OR ElementName = \"victim-cp";
constexpr wchar_t kSwitch[] = L"x\" OR ElementName = \"LAN";

std::vector<Attack> Attacks() {
  return {
      {"Start", kVictimOff, [](Victims& v, const wchar_t* t) { v.Management()->Start(t); }},
      {"PowerOff", kVictim, [](Victims& v, const wchar_t* t) { v.Management()->PowerOff(t); }},
      {"Save", kVictim, [](Victims& v, const wchar_t* t) { v.Management()->Save(t); }},
      {"DeleteMachine", kVictimOff,
       [](Victims& v, const wchar_t* t) { v.Management()->DeleteMachine(t); }},
      {"GetEnabledState", kVictim,
       [](Victims& v, const wchar_t* t) { v.Management()->GetEnabledState(t); }},
      {"GetOperationalStatus", kVictim,
       [](Victims& v, const wchar_t* t) { v.Management()->GetOperationalStatus(t); }},
      {"GetMachineInfo", kVictim,
       [](Victims& v, const wchar_t* t) { Own(v.Management()->GetMachineInfo(t)); }},
      {"CreateMachineEditor", kVictim,
       [](Victims& v, const wchar_t* t) {
         auto editor = Own(v.root->CreateMachineEditor(t));
         editor->SetName(L"renamed");
         editor->Commit();
       }},
      {"CreateStandardSnapshot", kVictim,
       [](Victims& v, const wchar_t* t) { v.Snapshots(t)->CreateStandardSnapshot(); }},
      {"EnumerateSnapshots", kCheckpoint,
       [](Victims& v, const wchar_t* t) {
         ExpectNothingListed(*Own(v.Snapshots(t)->EnumerateSnapshots()));
       }},
      {"DestroySnapshot", kCheckpoint,
       [](Victims& v, const wchar_t* t) {
         v.Snapshots(v.running.c_str())->DestroySnapshot(t, false);
       }},
      {"RenameSnapshot", kCheckpoint,
       [](Victims& v, const wchar_t* t) {
         v.Snapshots(v.running.c_str())->RenameSnapshot(t, L"renamed");
       }},
      {"GetSnapshotInfo", kCheckpoint,
       [](Victims& v, const wchar_t* t) {
         Own(v.Snapshots(v.running.c_str())->GetSnapshotInfo(t));
       }},
      {"IsRecoverySnapshot", kCheckpoint,
       [](Victims& v, const wchar_t* t) { v.Snapshots(v.running.c_str())->IsRecoverySnapshot(t); }},
      {"AddNetworkAdapter", kSwitch,
       [](Victims& v, const wchar_t* t) {
         auto editor = Own(v.root->CreateMachineEditor(v.x.c_str()));
         editor->AddNetworkAdapter(t);
         editor->Commit();
       }},
      {"AddNetworkAdapterWithVlan", kSwitch,
       [](Victims& v, const wchar_t* t) {
         auto editor = Own(v.root->CreateMachineEditor(v.x.c_str()));
         editor->AddNetworkAdapterWithVlan(t, 12);
         editor->Commit();
       }},
  };
}

TEST(InjectionTest, AQuotedConditionReachesNoOtherObject) {
  for (const auto& attack : Attacks()) {
    SCOPED_TRACE(attack.operation);
    Victims v;
    const auto before = v.World();
    bool raised = false;
    try {
      attack.use(v, attack.text);
    } catch (const DefaultException&) {
      raised = true;
    }
    EXPECT_TRUE(raised || std::string(attack.operation) == "EnumerateSnapshots")
        << "the text named an object";
    EXPECT_EQ(v.World(), before);
  }
}

// An empty machine identifier would make the list of a machine's checkpoints a list of every
// machine; it is refused, naming the argument.
TEST(InjectionTest, AnEmptyMachineIdListsNoCheckpoints) {
  Victims v;
  const auto e = Raised([&] { Own(v.Snapshots(L"")->EnumerateSnapshots()); });
  EXPECT_EQ(e.GetErrorCode(), kLibraryErrorCode);
  EXPECT_STREQ(e.GetMessageDescription(), L"Machine id must not be empty");
}

// A machine's identifier where a checkpoint's is expected finds the machine's own settings; no
// checkpoint operation may act on them.
TEST(InjectionTest, CheckpointOperationsRefuseAMachineId) {
  Victims v;
  const auto before = v.World();
  const auto snapshots = v.Snapshots(v.running.c_str());
  const wchar_t* machine = v.running.c_str();
  const std::wstring expected = L"Snapshot id names no checkpoint: " + v.running;
  const std::function<void()> operations[] = {
      [&] { snapshots->RenameSnapshot(machine, L"renamed"); },
      [&] { snapshots->ApplySnapshot(machine); },
      [&] { snapshots->DestroySnapshot(machine, false); },
      [&] { snapshots->DestroySnapshot(machine, true); },
      [&] { Own(snapshots->GetSnapshotInfo(machine)); },
  };
  for (const auto& operation : operations) {
    const auto e = Raised(operation);
    EXPECT_EQ(e.GetErrorCode(), kLibraryErrorCode);
    EXPECT_EQ(std::wstring(e.GetMessageDescription()), expected);
  }
  EXPECT_FALSE(snapshots->IsRecoverySnapshot(machine));
  EXPECT_EQ(v.World(), before);

  // A checkpoint of the victim is no checkpoint of "x".
  const auto checkpoint = v.host.AddSnapshot(v.running, L"second");
  const auto ofX = v.Snapshots(v.x.c_str());
  const auto e = Raised([&] { ofX->DestroySnapshot(checkpoint.c_str(), false); });
  EXPECT_EQ(std::wstring(e.GetMessageDescription()),
            L"Snapshot id names a checkpoint of another machine: " + checkpoint);
  EXPECT_EQ(std::wstring(Own(v.Snapshots(machine)->GetSnapshotInfo(checkpoint.c_str()))->GetName()),
            L"second");
}

// Identifiers and names of every kind of character, including what WQL and object paths
// escape, and what a catalogue rarely expects.
const std::vector<std::wstring>& OddTexts() {
  static const std::vector<std::wstring> texts = {
      L"quote\"inside",
      L"back\\slash",
      L"both\\\"end\\",
      L"'single' and \"double\"",
      L"\u00dcn\u00efc\u00f6d\u00e9 \u0421\u0435\u0440\u0432\u0435\u0440 \U0001F600",
      L"tab\tnew\nline",
      L"\\\\server\\share\\vm"};
  return texts;
}

TEST(InjectionTest, OddNamesAndIdentifiersRoundTrip) {
  for (const auto& text : OddTexts()) {
    SCOPED_TRACE(std::string(text.begin(), text.end()));
    auto host = NewHost();
    const std::wstring plain = host.AddMachine({.name = L"plain", .enabledState = 3});
    const std::wstring odd = host.AddMachine({.name = text, .id = text, .enabledState = 6});
    EXPECT_EQ(odd, text);
    auto root = Own(host.CreateQuorvane());
    auto management = Own(root->CreateMachineManagement(false));
    EXPECT_EQ(management->GetEnabledState(odd.c_str()), 6u);
    EXPECT_EQ(std::wstring(Own(management->GetMachineInfo(odd.c_str()))->GetName()), text);

    std::vector<std::wstring> names;
    auto machines = Own(root->CreateMachineEnumerator());
    while (machines->Next()) {
      names.push_back(machines->GetName());
    }
    EXPECT_EQ(names, (std::vector<std::wstring>{L"plain", text}));

    management->DeleteMachine(odd.c_str());
    EXPECT_EQ(Raised([&] { management->GetEnabledState(odd.c_str()); }).GetErrorCode(),
              kLibraryErrorCode);
    EXPECT_EQ(management->GetEnabledState(plain.c_str()), 3u);
  }
}

// Random texts built from the characters that matter to a query, and from pieces of the
// machines' own identifiers: a text selects a machine only when it is that machine's identifier.
TEST(InjectionTest, RandomTextsSelectOnlyTheMachineTheySpell) {
  const std::wstring pieces[] = {L"\"", L"\\", L"'", L" OR ", L"=",    L"Name", L"ElementName",
                                 L"a",  L"1",  L" ", L"\"\"", L"\\\"", L"%",    L"_"};
  std::mt19937 random(20261124);
  auto host = NewHost();
  std::vector<std::wstring> ids;
  for (int i = 0; i < 6; ++i) {
    std::wstring id;
    for (int n = 0; n < 4; ++n) {
      id += pieces[random() % std::size(pieces)];
    }
    if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
      ids.push_back(host.AddMachine({.name = L"m" + std::to_wstring(i), .id = id}));
      if (i % 2 == 0) {
        host.AddMachine({.name = id});  // a machine named as another's identifier
      }
    }
  }
  auto root = Own(host.CreateQuorvane());
  auto management = Own(root->CreateMachineManagement(false));
  for (int probe = 0; probe < 400; ++probe) {
    std::wstring text = probe % 3 == 0 ? ids[random() % ids.size()] : L"";
    for (int n = static_cast<int>(random() % 5); n >= 0; --n) {
      text += pieces[random() % std::size(pieces)];
    }
    if (probe % 3 == 1) {
      text += L"\" OR ElementName = \"m" + std::to_wstring(random() % 6);
    }
    const bool isId = std::find(ids.begin(), ids.end(), text) != ids.end();
    try {
      auto info = Own(management->GetMachineInfo(text.c_str()));
      EXPECT_TRUE(isId) << "selected a machine with another identifier";
      EXPECT_EQ(std::wstring(info->GetId()), text);
    } catch (const DefaultException&) {
      EXPECT_FALSE(isId) << "missed the machine it spells";
    }
  }
}

}  // namespace
}  // namespace quorvane::testing
