#include <gmock/gmock.h>

#include "sim_fixture.h"
#include "simhost/mof_text.h"
#include "simhost/sim_wmi.h"
#include "wmi/embedded_instance_reader.h"

namespace quorvane::sim {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

constexpr wchar_t kVmPath[] =
    L"Msvm_ComputerSystem.CreationClassName=\"Msvm_ComputerSystem\",Name=\"AAAA-1\"";

class SimObjectsTest : public SimHostTest {
 protected:
  SimObjectsTest() { AddMachine(L"AAAA-1", L"web", 2); }
};

TEST_F(SimObjectsTest, GetObjectByFullOrRelativePathOrClassName) {
  const auto vm = service_->GetObject(kVmPath);
  EXPECT_EQ(vm->GetRelPath(), kVmPath);
  EXPECT_EQ(vm->GetPath(), std::wstring(L"\\\\HV-HOST01\\root\\virtualization\\v2:") + kVmPath);
  EXPECT_EQ(service_->GetObject(vm->GetPath())->GetProperty(L"ElementName").AsWideString(), L"web");
  // A path may name the object by a base class.
  EXPECT_EQ(service_
                ->GetObject(L"CIM_ComputerSystem.CreationClassName='Msvm_ComputerSystem',"
                            L"Name='aaaa-1'")
                ->GetClass(),
            L"Msvm_ComputerSystem");
  const auto cls = service_->GetObject(L"Msvm_ComputerSystem");
  EXPECT_EQ(cls->GetProperty(L"__GENUS").AsInteger(), 1);
  EXPECT_TRUE(cls->GetProperty(L"ElementName").IsNull());

  EXPECT_EQ(StatusOf([&] { service_->GetObject(L"Msvm_ComputerSystem.Name=\"none\""); }),
            0x80041002u);
  EXPECT_EQ(StatusOf([&] { service_->GetObject(L"Msvm_NoSuchClass"); }), 0x80041010u);
  EXPECT_EQ(StatusOf([&] { service_->GetObject(L"Msvm_ComputerSystem.Name=\"open"); }),
            0x8004103Au);
}

TEST_F(SimObjectsTest, MofTextQuotesTextsButNotNumbersAndLeavesOutUnsetProperties) {
  auto vm = std::static_pointer_cast<SimObject>(service_->GetObject(kVmPath));
  vm->SetProperty(L"ElementName", WmiValue::String(L"say \"hi\" C:\\vm"));
  const std::wstring text = MofText(*vm);
  EXPECT_EQ(text.rfind(L"\ninstance of Msvm_ComputerSystem\n{\n", 0), 0u) << text;
  EXPECT_NE(text.find(L"\tElementName = \"say \\\"hi\\\" C:\\\\vm\";\n"), std::wstring::npos)
      << text;
  EXPECT_NE(text.find(L"\tEnabledState = 2;\n"), std::wstring::npos) << text;
  EXPECT_NE(text.find(L"\tOnTimeInMilliseconds = 5000000000;\n"), std::wstring::npos) << text;
  EXPECT_EQ(text.find(L"InstallDate"), std::wstring::npos) << text;
  EXPECT_EQ(text.substr(text.size() - 3), L"};\n");

  const auto cls = std::static_pointer_cast<SimObject>(service_->GetObject(L"Msvm_ComputerSystem"));
  const std::wstring classText = MofText(*cls);
  EXPECT_NE(classText.find(L"class Msvm_ComputerSystem : CIM_ComputerSystem\n{\n"),
            std::wstring::npos)
      << classText;
  EXPECT_NE(
      classText.find(L"\tuint32 InjectNonMaskableInterrupt([out] CIM_ConcreteJob ref Job);\n"),
      std::wstring::npos)
      << classText;
}

TEST_F(SimObjectsTest, PropertiesHaveTheKindsWmiDelivers) {
  const auto vm = service_->GetObject(kVmPath);
  EXPECT_EQ(vm->GetProperty(L"EnabledState").Kind(), WmiKind::Int32);           // uint16
  EXPECT_EQ(vm->GetProperty(L"OnTimeInMilliseconds").Kind(), WmiKind::String);  // uint64
  EXPECT_EQ(vm->GetProperty(L"OnTimeInMilliseconds").AsInteger(), 5000000000LL);
  EXPECT_EQ(vm->GetProperty(L"enabledstate").AsInteger(), 2);  // names are case-insensitive
  EXPECT_TRUE(vm->GetProperty(L"InstallDate").IsNull());
  EXPECT_EQ(StatusOf([&] { vm->GetProperty(L"NoSuchProperty"); }), 0x80041002u);

  const auto names = vm->GetPropertyNames();
  EXPECT_THAT(names, Contains(L"__PATH"));
  EXPECT_THAT(names, Contains(L"InstallDate"));  // unset properties are listed too
  EXPECT_THAT(names, Contains(L"OnTimeInMilliseconds"));

  vm->SetProperty(L"ElementName", WmiValue::String(L"renamed"));
  vm->SetProperty(L"EnabledState", WmiValue::String(L"3"));  // converted as Put does
  EXPECT_EQ(vm->GetProperty(L"EnabledState"), WmiValue::Int32(3));
  EXPECT_EQ(StatusOf([&] { vm->SetProperty(L"EnabledState", WmiValue::String(L"x")); }),
            0x80041005u);
  EXPECT_EQ(StatusOf([&] { vm->SetProperty(L"EnabledState", WmiValue::Int32(70000)); }),
            0x80041005u);
  EXPECT_EQ(StatusOf([&] { vm->SetProperty(L"Nope", WmiValue::Int32(1)); }), 0x80041002u);
}

// Hyper-V changes its objects through its methods: a settings object written back is accepted
// and changes nothing, a change to any other object is refused as read-only, and nothing is
// ever created.
TEST_F(SimObjectsTest, PutInstanceChangesNothing) {
  const auto vm = service_->GetObject(kVmPath);
  service_->PutInstance(vm);  // unchanged
  vm->SetProperty(L"EnabledState", WmiValue::Int32(3));
  EXPECT_EQ(StatusOf([&] { service_->PutInstance(vm); }), 0x80041023u);
  const auto calls = host_.CallLog();
  EXPECT_EQ(calls.back().operation, L"PutInstance");
  EXPECT_EQ(calls.back().target, kVmPath);
  EXPECT_EQ(calls.back().Input(L"EnabledState"), L"3");
  EXPECT_EQ(service_->GetObject(kVmPath)->GetProperty(L"EnabledState").AsInteger(), 2);

  const auto settings = vm->GetAssociatorsOfClass(L"Msvm_VirtualSystemSettingData").at(0);
  settings->SetProperty(L"ElementName", WmiValue::String(L"renamed"));
  const std::wstring name =
      V2().Property(*V2().Find(settings->GetPath()), L"ElementName").AsWideString();
  service_->PutInstance(settings);
  EXPECT_EQ(V2().Property(*V2().Find(settings->GetPath()), L"ElementName").AsWideString(), name);
  EXPECT_NE(name, L"renamed");

  const auto spawned = service_->SpawnInstance(L"Msvm_ComputerSystem");
  spawned->SetProperty(L"Name", WmiValue::String(L"NEW"));
  EXPECT_EQ(StatusOf([&] { service_->PutInstance(spawned); }), 0x80041002u);
  EXPECT_TRUE(Query(L"SELECT * FROM Msvm_ComputerSystem WHERE Name = 'NEW'").empty());
}

TEST_F(SimObjectsTest, RefreshFetchesAgain) {
  const auto vm = service_->GetObject(kVmPath);
  const auto id = V2().Find(kVmPath);
  V2().Set(*id, L"EnabledState", WmiValue::Int32(6));
  EXPECT_EQ(vm->GetProperty(L"EnabledState").AsInteger(), 2);  // a copy, as in WMI
  vm->Refresh();
  EXPECT_EQ(vm->GetProperty(L"EnabledState").AsInteger(), 6);
}

TEST_F(SimObjectsTest, TextFormRoundTripsThroughTheLibrarysReader) {
  const auto settings = Query(L"SELECT * FROM Msvm_VirtualSystemSettingData")[0];
  settings->SetProperty(L"ElementName", WmiValue::String(L"a & b <c> \"d\""));
  settings->SetProperty(L"SecureBootEnabled", WmiValue::Boolean(true));
  settings->SetProperty(L"LowMmioGapSize", WmiValue::UInt64(18446744073709551615ull));
  const std::wstring text = settings->GetText();
  EXPECT_EQ(text.rfind(L"<INSTANCE CLASSNAME=\"Msvm_VirtualSystemSettingData\"><PROPERTY "
                       L"NAME=\"__PATH\" CLASSORIGIN=\"___SYSTEM\" TYPE=\"string\"><VALUE>",
                       0),
            0u);

  const auto reader = CreateEmbeddedInstanceReader();
  reader->Load(text);
  EXPECT_EQ(reader->GetClassName(), L"Msvm_VirtualSystemSettingData");
  EXPECT_EQ(reader->GetString(L"ElementName"), L"a & b <c> \"d\"");
  EXPECT_EQ(reader->GetString(L"InstanceID"), L"Microsoft:AAAA-1");
  EXPECT_EQ(reader->GetString(L"SecureBootEnabled"), L"TRUE");
  EXPECT_EQ(reader->GetString(L"LowMmioGapSize"), L"18446744073709551615");
  EXPECT_EQ(reader->GetString(L"Description"), L"");  // null
  EXPECT_EQ(reader->GetString(L"__RELPATH"),
            L"Msvm_VirtualSystemSettingData.InstanceID="
            L"\"Microsoft:AAAA-1\"");
  EXPECT_THAT(reader->GetArray(L"Notes"), ElementsAre(L"first", L"x & <y>"));
  EXPECT_THAT(
      reader->GetArray(L"__DERIVATION"),
      ElementsAre(L"CIM_VirtualSystemSettingData", L"CIM_SettingData", L"CIM_ManagedElement"));
  EXPECT_TRUE(reader->GetArray(L"BootOrder").empty());  // null array

  // What the provider reads back from the same text equals what was set.
  const auto parsed = ParseEmbeddedInstance(text);
  const auto value = [&](const wchar_t* name) {
    for (const auto& [key, v] : parsed.properties) {
      if (key == name) {
        return v;
      }
    }
    return WmiValue::String(L"<missing>");
  };
  EXPECT_EQ(value(L"ElementName"), WmiValue::String(L"a & b <c> \"d\""));
  EXPECT_EQ(value(L"SecureBootEnabled"), WmiValue::Boolean(true));
  EXPECT_EQ(value(L"Notes"), WmiValue::Array(std::vector<std::wstring>{L"first", L"x & <y>"}));
  EXPECT_TRUE(value(L"BootOrder").IsNull());
}

TEST_F(SimObjectsTest, SpawnedInstancesMarkWhatTheClientDidNotSet) {
  const auto spawned = service_->SpawnInstance(L"Msvm_VirtualSystemSettingData");
  spawned->SetProperty(L"ElementName", WmiValue::String(L"new"));
  const std::wstring text = spawned->GetText();
  EXPECT_NE(text.find(L"<PROPERTY NAME=\"ElementName\" CLASSORIGIN=\"CIM_ManagedElement\" "
                      L"TYPE=\"string\"><VALUE>new</VALUE></PROPERTY>"),
            std::wstring::npos);
  EXPECT_NE(text.find(L"<PROPERTY NAME=\"Version\" CLASSORIGIN=\"Msvm_VirtualSystemSettingData\" "
                      L"PROPAGATED=\"true\" TYPE=\"string\"></PROPERTY>"),
            std::wstring::npos);
  EXPECT_TRUE(spawned->GetPath().empty());
  const auto parsed = ParseEmbeddedInstance(text);
  ASSERT_EQ(parsed.properties.size(), 1u);  // only what the client set
  EXPECT_EQ(parsed.properties[0].first, L"ElementName");
}

TEST_F(SimObjectsTest, EmbeddedTextThatIsNotAnInstanceFails) {
  const auto parse = [](const wchar_t* text) {
    return StatusOf([&] { ParseEmbeddedInstance(text); });
  };
  EXPECT_EQ(parse(L"not xml"), 0x80041008u);
  EXPECT_EQ(parse(L"<VALUE>1</VALUE>"), 0x80041008u);
  EXPECT_EQ(parse(L"<INSTANCE CLASSNAME=\"Nope\"/>"), 0x80041010u);
  EXPECT_EQ(parse(L"<INSTANCE CLASSNAME=\"Msvm_ComputerSystem\"><PROPERTY NAME=\"Nope\" "
                  L"TYPE=\"string\"/></INSTANCE>"),
            0x80041002u);
  EXPECT_EQ(parse(L"<INSTANCE CLASSNAME=\"Msvm_ComputerSystem\"><PROPERTY NAME=\"EnabledState\" "
                  L"TYPE=\"uint16\"><VALUE>-1</VALUE></PROPERTY></INSTANCE>"),
            0x80041005u);
  // The minimal hand-written form inside CDATA is accepted.
  const auto parsed = ParseEmbeddedInstance(
      L"<![CDATA[<INSTANCE CLASSNAME=\"Msvm_ComputerSystem\"><PROPERTY NAME=\"EnabledState\" "
      L"TYPE=\"uint16\"><VALUE>2</VALUE></PROPERTY></INSTANCE>]]>");
  EXPECT_EQ(parsed.properties.at(0).second, WmiValue::Int32(2));
}

}  // namespace
}  // namespace quorvane::sim
