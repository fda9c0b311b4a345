#include <stdexcept>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

using sim::SimulatedHost;

constexpr std::int64_t kTicksPerSecond = 10'000'000;
// 2026-01-01T00:00:00Z, the simulated clock's zero, as a FILETIME count.
constexpr std::int64_t kClockZero = (11'644'473'600LL + 1'767'225'600LL) * kTicksPerSecond;

std::vector<std::wstring> Names(IMachineEnumerator& machines) {
  std::vector<std::wstring> names;
  while (machines.Next()) {
    names.emplace_back(machines.GetName());
  }
  return names;
}

std::wstring MemoryPath(const std::wstring& machineId) {
  return L"Msvm_MemorySettingData.InstanceID=\"Microsoft:" + machineId +
         L"\\\\4764334d-e001-4176-82ee-5594ec9b530e\"";
}

TEST(MachineEnumeratorTest, ListsRealizedMachinesWithTheCursorRule) {
  auto host = NewHost(Bare());
  host.AddMachine({.name = L"web"});
  host.AdvanceClock(1500);
  const auto db = host.AddMachine({.name = L"db"});
  host.AddMachine({.name = L"planned", .planned = true});
  const auto checkpoint = host.AddSnapshot(db, L"checkpoint");
  auto root = Own(host.CreateQuorvane());
  auto machines = Own(root->CreateMachineEnumerator());

  EXPECT_EQ(machines->GetName(), nullptr);  // before the first Next
  EXPECT_EQ(machines->GetId(), nullptr);
  EXPECT_EQ(machines->GetCreationTime(), 0);
  EXPECT_EQ(machines->GetMachineInfo(), nullptr);
  ASSERT_TRUE(machines->Next());
  EXPECT_STREQ(machines->GetName(), L"web");
  EXPECT_EQ(machines->GetCreationTime(), kClockZero);
  EXPECT_STREQ(machines->GetParentId(), L"");
  ASSERT_TRUE(machines->Next());
  EXPECT_STREQ(machines->GetName(), L"db");
  EXPECT_EQ(machines->GetId(), db);
  EXPECT_EQ(machines->GetCreationTime(), kClockZero + 15'000'000);
  EXPECT_EQ(machines->GetParentId(), checkpoint);  // the machine runs on from its checkpoint
  EXPECT_FALSE(machines->Next());
  EXPECT_FALSE(machines->Next());  // stays past the end
  EXPECT_EQ(machines->GetName(), nullptr);

  machines->Reset();  // appends a second copy, on purpose
  EXPECT_EQ(Names(*machines), (std::vector<std::wstring>{L"web", L"db", L"web", L"db"}));
}

TEST(MachineEnumeratorTest, EmptyHostAndCaseSensitiveTypes) {
  auto host = NewHost(Bare());
  auto root = Own(host.CreateQuorvane());
  auto machines = Own(root->CreateMachineEnumerator());
  EXPECT_FALSE(machines->Next());
  EXPECT_EQ(machines->GetName(), nullptr);

  const auto id = host.AddMachine({.name = L"odd"});
  host.SetProperty(L"Msvm_VirtualSystemSettingData.InstanceID=\"Microsoft:" + id + L"\"",
                   L"VirtualSystemType", L"microsoft:hyper-v:system:realized");
  EXPECT_TRUE(Names(*Own(root->CreateMachineEnumerator())).empty());
}

TEST(MachineEnumeratorTest, FailedLoadRaisesAndLeavesNothing) {
  auto host = NewHost(Bare());
  auto root = Own(host.CreateQuorvane());
  host.FailOperations(L"ExecQuery", L"Msvm_VirtualSystemSettingData", 0x80041001u);
  EXPECT_EQ(Raised([&] { root->CreateMachineEnumerator(); }).GetErrorCode(), 0x80041001u);
}

TEST(MachineInfoTest, ReadsSettingsOfMachinesAndCheckpoints) {
  auto host = NewHost(Bare());
  const auto id = host.AddMachine({.name = L"web",
                                   .generation2 = true,
                                   .version = L"9.0",
                                   .memoryMb = 4096,
                                   .processors = 8,
                                   .dataRoot = L"D:\\VMs"});
  host.AdvanceClock(60'000);
  const auto first = host.AddSnapshot(id, L"one");
  const auto second = host.AddSnapshot(id, L"two");
  auto root = Own(host.CreateQuorvane());
  auto management = Own(root->CreateMachineManagement(false));

  auto info = Own(management->GetMachineInfo(id.c_str()));
  EXPECT_STREQ(info->GetName(), L"web");
  EXPECT_EQ(info->GetMemory(), 4096);
  EXPECT_EQ(info->GetProcessorCount(), 8);
  EXPECT_STREQ(info->GetVersion(), L"9.0");
  EXPECT_TRUE(info->IsVersion62OrLater());
  EXPECT_TRUE(info->IsGeneration2());
  EXPECT_EQ(info->GetId(), id);
  EXPECT_EQ(info->GetConfigurationId(), id);
  EXPECT_EQ(info->GetParentId(), second);  // the machine runs on from its latest checkpoint
  EXPECT_EQ(info->GetCreationTime(), kClockZero);
  EXPECT_STREQ(info->GetConfigurationDataRoot(), L"D:\\VMs");
  EXPECT_EQ(info->GetConfigurationFile(), L"D:\\VMs\\Virtual Machines\\" + id + L".vmcx");
  EXPECT_STREQ(info->GetSnapshotDataRoot(), L"D:\\VMs");
  EXPECT_EQ(info->GetGuestStateFile(), id + L".vmgs");

  auto firstInfo = Own(management->GetMachineInfo(first.c_str()));
  EXPECT_STREQ(firstInfo->GetName(), L"one");
  EXPECT_STREQ(firstInfo->GetParentId(), L"");
  EXPECT_EQ(firstInfo->GetCreationTime(), kClockZero + 60 * kTicksPerSecond);
  EXPECT_EQ(firstInfo->GetMemory(), 4096);
  EXPECT_EQ(Own(management->GetMachineInfo(second.c_str()))->GetParentId(), first);
  // Whether a host makes a recovery checkpoint the machine's parent is open; where it does, the
  // record names no parent rather than a checkpoint outside the tree.
  const auto recovery = host.AddSnapshot(id, L"nightly", true);
  host.SetProperty(
      L"Msvm_VirtualSystemSettingData.InstanceID=\"Microsoft:" + id + L"\"", L"Parent",
      L"\\\\HV-HOST01\\root\\virtualization\\v2:Msvm_VirtualSystemSettingData.InstanceID="
      L"\"Microsoft:" +
          recovery + L"\"");
  EXPECT_STREQ(Own(management->GetMachineInfo(id.c_str()))->GetParentId(), L"");

  auto gen1 = host.AddMachine({.name = L"old", .generation2 = false, .version = L"5.0"});
  auto old = Own(management->GetMachineInfo(gen1.c_str()));
  EXPECT_FALSE(old->IsGeneration2());
  EXPECT_FALSE(old->IsVersion62OrLater());
  const auto v62 = host.AddMachine({.name = L"first-6.2", .version = L"6.2"});
  EXPECT_TRUE(Own(management->GetMachineInfo(v62.c_str()))->IsVersion62OrLater());
}

TEST(MachineInfoTest, FailuresOfTheRecord) {
  auto host = NewHost(Bare());
  const auto id = host.AddMachine({.name = L"web"});
  auto root = Own(host.CreateQuorvane());
  auto management = Own(root->CreateMachineManagement(false));

  const auto missing = Raised<VmNotFoundException>([&] { management->GetMachineInfo(L"nope"); });
  EXPECT_EQ(missing.GetErrorCode(), 0xFFFFFFFFu);
  EXPECT_STREQ(missing.GetMessageDescription(), L"Cannot find vm with id: nope");
  EXPECT_STREQ(Raised([&] { management->GetMachineInfo(nullptr); }).GetMessageDescription(),
               L"Configuration id must not be null");

  host.SetUncheckedNumberText(MemoryPath(id), L"VirtualQuantity", L" 12abc");
  EXPECT_EQ(Own(management->GetMachineInfo(id.c_str()))->GetMemory(), 12);
  host.SetUncheckedNumberText(MemoryPath(id), L"VirtualQuantity", L"abc");
  try {
    management->GetMachineInfo(id.c_str());
    FAIL() << "expected std::invalid_argument";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "invalid stoll argument");
  }
  host.SetUncheckedNumberText(MemoryPath(id), L"VirtualQuantity", L"99999999999999999999");
  try {
    management->GetMachineInfo(id.c_str());
    FAIL() << "expected std::out_of_range";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "stoll argument out of range");
  }
  host.RemoveObject(MemoryPath(id));
  EXPECT_EQ(Own(management->GetMachineInfo(id.c_str()))->GetMemory(), 0);
}

TEST(SwitchEnumeratorTest, ListsEverySwitchAndResetReplaces) {
  auto host = NewHost(Bare());
  auto root = Own(host.CreateQuorvane());
  EXPECT_FALSE(Own(root->CreateSwitchEnumerator())->Next());

  const auto a = host.AddSwitch(L"LAN");
  const auto b = host.AddSwitch(L"LAN");
  auto switches = Own(root->CreateSwitchEnumerator());
  EXPECT_EQ(switches->GetId(), nullptr);
  for (int pass = 0; pass < 2; ++pass) {
    ASSERT_TRUE(switches->Next());
    EXPECT_STREQ(switches->GetName(), L"LAN");
    EXPECT_EQ(switches->GetId(), a);
    ASSERT_TRUE(switches->Next());
    EXPECT_EQ(switches->GetId(), b);
    EXPECT_FALSE(switches->Next());
    switches->Reset();
  }
}

}  // namespace
}  // namespace quorvane::testing
