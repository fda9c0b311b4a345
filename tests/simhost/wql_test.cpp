#include <gmock/gmock.h>

#include "sim_fixture.h"
#include "simhost/wql.h"

namespace quorvane::sim {
namespace {

using ::testing::ElementsAre;

std::vector<std::wstring> Names(const WmiObjects& objects) {
  std::vector<std::wstring> names;
  for (const auto& object : objects) {
    names.push_back(object->GetProperty(L"ElementName").AsWideString());
  }
  return names;
}

class WqlTest : public SimHostTest {
 protected:
  WqlTest() {
    AddMachine(L"AAAA-1", L"web", 2);
    AddMachine(L"BBBB-2", L"db", 3);
    AddMachine(L"CCCC-3", L"Web Front", 3);
  }

  std::vector<std::wstring> Machines(const std::wstring& where) {
    return Names(Query(L"SELECT * FROM Msvm_ComputerSystem WHERE Caption = \"Virtual Machine\"" +
                       (where.empty() ? L"" : L" AND (" + where + L")")));
  }
};

TEST_F(WqlTest, SelectComparesLikeWmi) {
  EXPECT_THAT(Machines(L"ElementName = \"WEB\""), ElementsAre(L"web"));
  EXPECT_THAT(Machines(L"elementname = 'db'"), ElementsAre(L"db"));
  EXPECT_THAT(Machines(L"EnabledState = 3"), ElementsAre(L"db", L"Web Front"));
  EXPECT_THAT(Machines(L"EnabledState <> 3"), ElementsAre(L"web"));
  EXPECT_THAT(Machines(L"3 > EnabledState"), ElementsAre(L"web"));
  EXPECT_THAT(Machines(L"EnabledState = 2 OR ElementName = 'db'"), ElementsAre(L"web", L"db"));
  EXPECT_THAT(Machines(L"NOT EnabledState = 2"), ElementsAre(L"db", L"Web Front"));
  EXPECT_THAT(Machines(L"ElementName LIKE 'web%'"), ElementsAre(L"web", L"Web Front"));
  EXPECT_THAT(Machines(L"ElementName LIKE '[a-d]_'"), ElementsAre(L"db"));
  EXPECT_THAT(Machines(L"ElementName LIKE '%[^b]'"), ElementsAre(L"Web Front"));
  // uint64 arrives as text but compares as a number.
  EXPECT_THAT(Machines(L"OnTimeInMilliseconds > 999999999"),
              ElementsAre(L"web", L"db", L"Web Front"));
  EXPECT_THAT(Machines(L"InstallDate IS NULL AND Name IS NOT NULL"),
              ElementsAre(L"web", L"db", L"Web Front"));
  EXPECT_THAT(Names(Query(L"select * from MSVM_COMPUTERSYSTEM where name = \"aaaa-1\"")),
              ElementsAre(L"web"));
  EXPECT_TRUE(Query(L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName = \"none\"").empty());
}

TEST_F(WqlTest, StringLiteralsTakeBackslashEscapesAndBothQuotes) {
  AddMachine(L"DDDD-4", L"it's \"quoted\" \\ here");
  EXPECT_THAT(Machines(L"ElementName = 'it\\'s \"quoted\" \\\\ here'"),
              ElementsAre(L"it's \"quoted\" \\ here"));
  EXPECT_THAT(Machines(L"ElementName = \"it's \\\"quoted\\\" \\\\ here\""),
              ElementsAre(L"it's \"quoted\" \\ here"));
  EXPECT_THAT(Machines(L"ElementName = 'it''s \"quoted\" \\\\ here'"),
              ElementsAre(L"it's \"quoted\" \\ here"));
}

TEST_F(WqlTest, ClassEnumerationIsDeep) {
  V2().Create(L"Msvm_StorageAllocationSettingData",
              {{L"InstanceID", WmiValue::String(L"Microsoft:AAAA-1\\disk\\L")},
               {L"ElementName", WmiValue::String(L"disk")}});
  V2().Create(L"Msvm_ResourceAllocationSettingData",
              {{L"InstanceID", WmiValue::String(L"Microsoft:AAAA-1\\drive\\D")},
               {L"ElementName", WmiValue::String(L"drive")}});
  EXPECT_THAT(Names(Query(L"SELECT * FROM CIM_ResourceAllocationSettingData")),
              ElementsAre(L"disk", L"drive"));
  EXPECT_THAT(Names(Query(L"SELECT * FROM Msvm_ResourceAllocationSettingData")),
              ElementsAre(L"drive"));
}

TEST_F(WqlTest, AssociatorsAndReferences) {
  const auto vm = V2().Find(
      L"Msvm_ComputerSystem.CreationClassName=\"Msvm_ComputerSystem\","
      L"Name=\"AAAA-1\"");
  ASSERT_TRUE(vm);
  const auto snapshot = V2().Create(
      L"Msvm_VirtualSystemSettingData",
      {{L"InstanceID", WmiValue::String(L"Microsoft:SNAP-1")},
       {L"ElementName", WmiValue::String(L"checkpoint")},
       {L"VirtualSystemType", WmiValue::String(L"Microsoft:Hyper-V:Snapshot:Realized")}});
  V2().Associate(L"Msvm_SnapshotOfVirtualSystem", L"Antecedent", *vm, L"Dependent", snapshot);
  const std::wstring path = V2().RelativePath(*vm);

  EXPECT_THAT(Names(Query(L"ASSOCIATORS OF {" + path + L"}")), ElementsAre(L"web", L"checkpoint"));
  EXPECT_THAT(Names(Query(L"ASSOCIATORS OF {" + path +
                          L"} WHERE ResultClass = CIM_VirtualSystemSettingData "
                          L"AssocClass = Msvm_SnapshotOfVirtualSystem")),
              ElementsAre(L"checkpoint"));
  EXPECT_THAT(Names(Query(L"associators of {" + path +
                          L"} where resultClass = "
                          L"Msvm_VirtualSystemSettingData Role = ManagedElement")),
              ElementsAre(L"web"));
  EXPECT_TRUE(
      Query(L"ASSOCIATORS OF {" + path + L"} WHERE ResultClass = Msvm_ConcreteJob").empty());
  // Any spelling of the same path finds the same object.
  EXPECT_EQ(Query(L"ASSOCIATORS OF {\\\\HV-HOST01\\root\\virtualization\\v2:msvm_computersystem"
                  L".name='aaaa-1',creationclassname='Msvm_ComputerSystem'}")
                .size(),
            2u);

  const auto references = Query(L"REFERENCES OF {" + path + L"}");
  ASSERT_EQ(references.size(), 2u);
  EXPECT_EQ(references[0]->GetClass(), L"Msvm_SettingsDefineState");
  EXPECT_EQ(references[1]->GetClass(), L"Msvm_SnapshotOfVirtualSystem");
  EXPECT_EQ(Query(L"REFERENCES OF {" + path + L"} WHERE ResultClass = CIM_SnapshotOfVirtualSystem")
                .size(),
            1u);

  EXPECT_EQ(StatusOf([&] { Query(L"ASSOCIATORS OF {Msvm_ComputerSystem.Name=\"none\"}"); }),
            0x80041002u);
  EXPECT_EQ(StatusOf([&] { Query(L"ASSOCIATORS OF {Msvm_ComputerSystem.Name=}"); }), 0x8004103Au);
}

TEST_F(WqlTest, MalformedQueriesFailWithInvalidQuery) {
  for (const wchar_t* text : {
           L"",
           L"SELECT",
           L"SELECT * FROM",
           L"SELECT FROM Msvm_ComputerSystem",
           L"SELECT * Msvm_ComputerSystem",
           L"SELECT * FROM Msvm_ComputerSystem WHERE",
           L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName = \"a\"b\"",
           L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName = \"open",
           L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName = ",
           L"SELECT * FROM Msvm_ComputerSystem WHERE (ElementName = 'a'",
           L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName == 'a'",
           L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName = Name",
           L"SELECT * FROM Msvm_ComputerSystem WHERE NoSuchProperty = 1",
           L"SELECT * FROM Msvm_ComputerSystem WHERE OperationalStatus = 2",
           L"SELECT * FROM Msvm_ComputerSystem extra",
           L"ASSOCIATORS {Msvm_ComputerSystem.Name=\"a\"}",
           L"ASSOCIATORS OF Msvm_ComputerSystem.Name=\"a\"",
           L"ASSOCIATORS OF {Msvm_ComputerSystem.Name=\"a\"",
           L"ASSOCIATORS OF {Msvm_ComputerSystem.Name=\"a\"} WHERE",
           L"ASSOCIATORS OF {Msvm_ComputerSystem.Name=\"a\"} WHERE ResultClass = A AND "
           L"AssocClass = B",
           L"ASSOCIATORS OF {Msvm_ComputerSystem.Name=\"a\"} WHERE ResultClass = A ResultClass = B",
           L"ASSOCIATORS OF {Msvm_ComputerSystem.Name=\"a\"} WHERE ClassDefsOnly ResultClass = A",
           L"REFERENCES OF {Msvm_ComputerSystem.Name=\"a\"} WHERE AssocClass = A",
           L"DELETE FROM Msvm_ComputerSystem",
           L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName = 'a' #",
       }) {
    EXPECT_EQ(StatusOf([&] { Query(text); }), 0x80041017u) << std::wstring(text);
  }
  EXPECT_EQ(StatusOf([&] { Query(L"SELECT * FROM Msvm_NoSuchClass"); }), 0x80041010u);
}

TEST_F(WqlTest, HostileQueriesEndCleanly) {
  std::wstring nots;
  for (int i = 0; i < 100000; ++i) {
    nots += L"NOT ";
  }
  EXPECT_EQ(
      StatusOf([&] { Query(L"SELECT * FROM Msvm_ComputerSystem WHERE " + nots + L"Name = 'a'"); }),
      0x80041045u);
  std::wstring many = L"SELECT * FROM Msvm_ComputerSystem WHERE Name = 'a'";
  for (int i = 0; i < 300; ++i) {
    many += L" OR Name = 'b'";
  }
  EXPECT_EQ(StatusOf([&] { Query(many); }), 0x80041045u);
  EXPECT_EQ(StatusOf([&] { Query(std::wstring(50000, L'(')); }), 0x80041017u);
  // A pattern that backtracking would take ages over is answered at once.
  AddMachine(L"EEEE-5", std::wstring(2000, L'a'));
  EXPECT_TRUE(
      Machines(L"ElementName LIKE '" + std::wstring(40, L'%') + L"a%a%a%a%a%a%a%a%b'").empty());
}

TEST(WqlLikeTest, Patterns) {
  EXPECT_TRUE(WqlLike(L"Microsoft:Definition\\X\\Default", L"%\\Default"));
  EXPECT_TRUE(WqlLike(L"abc", L"a_c"));
  EXPECT_FALSE(WqlLike(L"abbc", L"a_c"));
  EXPECT_TRUE(WqlLike(L"a_c", L"a[_]c"));
  EXPECT_FALSE(WqlLike(L"abc", L"a[_]c"));
  EXPECT_TRUE(WqlLike(L"", L"%"));
  EXPECT_FALSE(WqlLike(L"abc", L"a[bc"));
}

}  // namespace
}  // namespace quorvane::sim
