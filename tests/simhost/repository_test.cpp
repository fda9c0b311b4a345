#include "simhost/repository.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "quorvane/exceptions.h"
#include "status_of.h"

namespace quorvane::sim {
namespace {

using quorvane::testing::StatusOf;

class RepositoryTest : public ::testing::Test {
 protected:
  Repository::Id Settings(const std::wstring& id) {
    return repository_.Create(L"Msvm_VirtualSystemSettingData",
                              {{L"InstanceID", WmiValue::String(L"Microsoft:" + id)}});
  }
  Repository::Id Machine(const std::wstring& name) {
    return repository_.Create(L"Msvm_ComputerSystem",
                              {{L"CreationClassName", WmiValue::String(L"Msvm_ComputerSystem")},
                               {L"Name", WmiValue::String(name)}});
  }

  Repository repository_{L"H", L"root\\virtualization\\v2"};
};

TEST_F(RepositoryTest, KeysNameObjectsOnce) {
  const auto settings = Settings(L"A");
  EXPECT_EQ(StatusOf([&] { Settings(L"a"); }), 0x80041019u) << "paths compare without case";
  EXPECT_EQ(StatusOf([&] { repository_.Create(L"Msvm_VirtualSystemSettingData", {}); }),
            0x80041008u);
  EXPECT_EQ(StatusOf([&] { repository_.Create(L"Msvm_Nope", {}); }), 0x80041010u);
  EXPECT_EQ(StatusOf([&] {
              repository_.Create(L"Msvm_VirtualSystemSettingData",
                                 {{L"InstanceID", WmiValue::String(L"x")}, {L"Nope", WmiValue()}});
            }),
            0x80041002u);
  EXPECT_EQ(
      StatusOf([&] { repository_.Set(settings, L"InstanceID", WmiValue::String(L"Microsoft:B")); }),
      0x80041008u);
  // The same key value in another class is another object.
  EXPECT_NO_THROW(repository_.Create(L"Msvm_MemorySettingData",
                                     {{L"InstanceID", WmiValue::String(L"Microsoft:A")}}));
  EXPECT_EQ(repository_.Find(L"CIM_VirtualSystemSettingData.InstanceID=\"microsoft:a\""), settings)
      << "a path may name the object by a base class";
}

TEST_F(RepositoryTest, DeletingAnObjectTakesItsAssociationsAlong) {
  const auto machine = Machine(L"VM");
  const auto first = Settings(L"1");
  const auto second = Settings(L"2");
  const auto snapshotOf = repository_.Associate(L"Msvm_SnapshotOfVirtualSystem", L"Antecedent",
                                                machine, L"Dependent", second);
  // Found again by its path, in which the ends are written differently from how it was made.
  auto path = repository_.RelativePath(snapshotOf);
  EXPECT_EQ(repository_.Find(ToLower(path)), snapshotOf);
  EXPECT_THROW(
      repository_.Create(L"Msvm_SnapshotOfVirtualSystem",
                         {{L"Antecedent", WmiValue::String(ToLower(repository_.FullPath(machine)))},
                          {L"Dependent", WmiValue::String(repository_.RelativePath(second))}}),
      DefaultException)
      << "the same association twice";
  repository_.Associate(L"Msvm_SettingsDefineState", L"ManagedElement", machine, L"SettingData",
                        first);
  const auto links = repository_.LinksOf(machine);
  ASSERT_EQ(links.size(), 2u);
  EXPECT_EQ(links[0].endpoint, second) << "in the order the associations were made";
  EXPECT_EQ(links[0].resultRole, L"Dependent");
  repository_.Delete(second);
  EXPECT_EQ(repository_.LinksOf(machine).size(), 1u);
  EXPECT_EQ(repository_.All().size(), 3u);  // machine, first, one association
  repository_.Delete(machine);
  EXPECT_EQ(repository_.All().size(), 1u);
}

TEST_F(RepositoryTest, LinksSurviveARollBackAndFindObjectsStoredAfterThem) {
  const auto machine = Machine(L"VM");
  const auto settings = Settings(L"1");
  repository_.Associate(L"Msvm_SettingsDefineState", L"ManagedElement", machine, L"SettingData",
                        settings);
  // An association written before the object it names is stored.
  repository_.Create(
      L"Msvm_SnapshotOfVirtualSystem",
      {{L"Antecedent", WmiValue::String(repository_.FullPath(machine))},
       {L"Dependent",
        WmiValue::String(L"Msvm_VirtualSystemSettingData.InstanceID=\"Microsoft:2\"")}});
  const auto later = Settings(L"2");
  ASSERT_EQ(repository_.LinksOf(later).size(), 1u);
  EXPECT_EQ(repository_.LinksOf(later)[0].endpoint, machine);

  // A change that touches the machine but not its associations, undone.
  repository_.BeginChange();
  repository_.Set(machine, L"ElementName", WmiValue::String(L"renamed"));
  Settings(L"3");
  repository_.RollBack();
  const auto links = repository_.LinksOf(machine);
  ASSERT_EQ(links.size(), 2u);
  EXPECT_EQ(links[0].endpoint, settings);
  EXPECT_EQ(links[1].endpoint, later);
  repository_.Delete(later);
  EXPECT_EQ(repository_.LinksOf(machine).size(), 1u);
}

TEST_F(RepositoryTest, KeepsEveryValueExactlyAsGiven) {
  const auto settings = Settings(L"1");
  const std::vector<std::pair<const wchar_t*, WmiValue>> values = {
      {L"ElementName", WmiValue::String(L"Caf\u00e9 \u2603 \U0001F600")},
      {L"Notes", WmiValue::Array(std::vector<std::wstring>{L"plain", L"\u00fcber", L""})},
      {L"Description", WmiValue::String(std::wstring(L"\x7f\x80\0end", 6))},
      {L"VirtualSystemSubType", WmiValue::String(L"Microsoft:Hyper-V:SubType:2")},
      {L"AutomaticStartupActionDelay", WmiValue::String(L"00000000000120.000000:000")},
      {L"BootSourceOrder", WmiValue::Array(std::vector<std::wstring>{})},
  };
  for (const auto& [name, value] : values) {
    repository_.Set(settings, name, value);
  }
  for (const auto& [name, value] : values) {
    EXPECT_EQ(repository_.Property(settings, name), value) << name;
    EXPECT_EQ(repository_.Property(settings, ToLower(name)), value) << "any case: " << name;
  }
  repository_.Set(settings, L"ElementName", WmiValue());
  EXPECT_TRUE(repository_.Property(settings, L"ElementName").IsNull());
  const auto list = repository_.Get(settings).properties.List();
  ASSERT_EQ(list.size(), values.size());  // the rest and the InstanceID
  EXPECT_TRUE(std::is_sorted(list.begin(), list.end(), [](const auto& a, const auto& b) {
    return CompareNoCase(a.first, b.first) < 0;
  }));
}

}  // namespace
}  // namespace quorvane::sim
