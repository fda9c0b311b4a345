#include <filesystem>
#include <fstream>

#include "sim_fixture.h"

namespace quorvane::sim {
namespace {

std::string ErrorOf(const std::string& json) {
  try {
    SimulatedHost::FromJson(json, "bad.json");
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode(), 0xFFFFFFFFu);
    return e.what();
  }
  return "";
}

TEST_F(SimHostTest, ScenarioSurvivesSaveAndLoad) {
  AddMachine(L"AAAA-1", L"web \u00e9", 2);
  host_.AddDiskFile(L"D:\\base.vhdx", 1 << 30);
  host_.AddDiskFile(L"D:\\child.avhdx", 1 << 30, L"D:\\base.vhdx");
  host_.WriteToDisk(L"D:\\child.avhdx", 4096, 512);
  Core().SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", true);
  host_.AdvanceClock(1234);
  Core().NewGuid();
  const std::string saved = host_.ToJson();
  const auto file = std::filesystem::temp_directory_path() / "quorvane-scenario-test.json";
  host_.SaveScenario(file);
  EXPECT_EQ(SimulatedHost::LoadScenario(file).ToJson(), saved);
  std::filesystem::remove(file);

  const auto loaded = SimulatedHost::FromJson(saved);
  EXPECT_EQ(loaded.ToJson(), saved);
  EXPECT_EQ(loaded.ClockMs(), 1234u);
  EXPECT_EQ(CoreOf(loaded).NewGuid(), Core().NewGuid());  // same sequence from here on

  auto service = CoreOf(loaded).Connect(L"", L"", L"", kVirtualizationNamespace);
  const auto vms =
      service->ExecQuery(L"SELECT * FROM Msvm_ComputerSystem WHERE Caption = 'Virtual Machine'");
  ASSERT_EQ(vms.size(), 1u);
  EXPECT_EQ(vms[0]->GetProperty(L"ElementName").AsWideString(), L"web \u00e9");
  EXPECT_EQ(vms[0]->GetProperty(L"OnTimeInMilliseconds").AsWideString(), L"5000000000");
  EXPECT_EQ(vms[0]->GetAssociatorsOfClass(L"Msvm_VirtualSystemSettingData").size(), 1u);
  const VirtualDisk* child = CoreOf(loaded).Disks().Find(L"D:\\child.avhdx");
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(child->parentPath, L"D:\\base.vhdx");
  ASSERT_NE(CoreOf(loaded).Disks().LogOf(L"D:\\child.avhdx"), nullptr);
  EXPECT_EQ(CoreOf(loaded).Disks().LogOf(L"D:\\child.avhdx")->writes.size(), 1u);
}

// A job that has not ended when the host is saved ends in the loaded host at its time, with its
// effect, and goes away as finished jobs do.
TEST_F(SimHostTest, AJobUnderWayEndsAfterLoading) {
  const std::wstring machine = host_.AddMachine({.name = L"web", .enabledState = 3});
  const std::wstring path =
      L"Msvm_ComputerSystem.CreationClassName=\"Msvm_ComputerSystem\",Name=\"" + machine + L"\"";
  const auto method = service_->GetObject(path)->CreateMethod(L"RequestStateChange");
  method->SetParameter(L"RequestedState", WmiValue::Int32(2));
  ASSERT_EQ(method->Execute(), 4096u);
  const std::wstring job = method->GetOutParameter(L"Job").AsWideString();

  auto loaded = SimulatedHost::FromJson(host_.ToJson());
  EXPECT_EQ(loaded.ToJson(), host_.ToJson());
  auto service = CoreOf(loaded).Connect(L"", L"", L"", kVirtualizationNamespace);
  EXPECT_EQ(service->GetObject(path)->GetProperty(L"EnabledState").AsInteger(), 10);  // starting
  loaded.AdvanceClock(300);
  EXPECT_EQ(service->GetObject(path)->GetProperty(L"EnabledState").AsInteger(), 2);
  EXPECT_EQ(service->GetObject(job)->GetProperty(L"JobState").AsInteger(), 7);
  EXPECT_EQ(service->GetObject(job)->GetAssociators(L"Msvm_ComputerSystem", L"").size(), 1u);
  loaded.AdvanceClock(5 * 60 * 1000);
  EXPECT_EQ(StatusOf([&] { service->GetObject(job); }), 0x80041002u);
}

TEST(ScenarioTest, DefaultScenarioHasTheManagementServices) {
  const auto host = SimulatedHost::Default();
  auto service = CoreOf(host).Connect(L"", L"", L"", kVirtualizationNamespace);
  EXPECT_EQ(service->QueryFirst(L"Msvm_VirtualSystemManagementService")
                ->GetProperty(L"Name")
                .AsWideString(),
            L"vmms");
  EXPECT_EQ(service->QueryAll(L"Msvm_VirtualSystemSnapshotService").size(), 1u);
  EXPECT_EQ(service->QueryAll(L"Msvm_ImageManagementService").size(), 1u);
  EXPECT_NO_THROW(CoreOf(host).Connect(L"", L"", L"", kHgsNamespace));
}

// A scenario scripts failures as the C++ interface does, the n-th matching call included.
TEST(ScenarioTest, ScenariosScriptFaults) {
  auto host = SimulatedHost::FromJson(R"({"format": "quorvane-simulated-host", "version": 1,
      "faults": [{"operation": "ExecQuery", "match": "Msvm_ComputerSystem", "nth": 2,
                  "status": 2147749893},
                 {"class": "Msvm_ComputerSystem", "method": "RequestStateChange",
                  "returnValue": 32775, "count": -1}]})");
  auto service = CoreOf(host).Connect(L"", L"", L"", kVirtualizationNamespace);
  EXPECT_NO_THROW(service->QueryAll(L"Msvm_ComputerSystem"));
  EXPECT_EQ(testing::StatusOf([&] { service->QueryAll(L"Msvm_ComputerSystem"); }), 0x80041005u);
  EXPECT_NO_THROW(service->QueryAll(L"Msvm_ComputerSystem"));

  const std::string head = R"({"format": "quorvane-simulated-host", "version": 1, "faults": )";
  EXPECT_EQ(ErrorOf(head + R"([{"operation": "Teleport"}]})"),
            "bad.json: /faults/0/operation: is not a WMI operation");
  EXPECT_EQ(ErrorOf(head + R"([{"operation": "GetObject", "nth": 0}]})"),
            "bad.json: /faults/0/nth: counts from 1");
  EXPECT_EQ(ErrorOf(head + R"([{"class": "Msvm_ComputerSystem", "method": "X"}]})"),
            "bad.json: /faults/0: expected a \"returnValue\" or an \"errorCode\"");
}

// Instances are stored as the text is read once the settings are known, and kept until the end
// when they come first; either way the host and the places named in errors are the same.
TEST(ScenarioTest, InstancesLoadWhereverTheSettingsStand) {
  const std::string format = R"("format": "quorvane-simulated-host", "version": 1)";
  const std::string host = R"("host": {"name": "HV-ORDER"})";
  const std::string system =
      R"({"class": "Msvm_ComputerSystem", "properties": {"CreationClassName": )"
      R"("Msvm_ComputerSystem", "Name": "HV-ORDER", "ElementName": "HV-ORDER"}})";
  const std::string instances = R"("namespaces": {"root\\virtualization\\v2": [)" + system + "]}";
  for (const std::string& document : {"{" + format + ", " + host + ", " + instances + "}",
                                      "{" + instances + ", " + host + ", " + format + "}"}) {
    const auto loaded = SimulatedHost::FromJson(document);
    auto service = CoreOf(loaded).Connect(L"", L"", L"", kVirtualizationNamespace);
    const auto systems = service->QueryAll(L"Msvm_ComputerSystem");
    ASSERT_EQ(systems.size(), 1u) << document;
    EXPECT_EQ(systems[0]->GetProperty(L"ElementName").AsWideString(), L"HV-ORDER");
  }
  const std::string second = R"({"class": "Msvm_ComputerSystem", "properties": {"Nope": 1}})";
  const std::string place = "bad.json: /namespaces/root\\virtualization\\v2/1/properties/Nope";
  const std::string withSecond =
      R"("namespaces": {"root\\virtualization\\v2": [)" + system + ", " + second + "]}";
  EXPECT_EQ(ErrorOf("{" + format + ", " + host + ", " + withSecond + "}").rfind(place, 0), 0u);
  EXPECT_EQ(ErrorOf("{" + withSecond + ", " + host + ", " + format + "}").rfind(place, 0), 0u);
}

// A scenario written by hand: the host starts as a new one does, and its machines, disks,
// chains, DVDs, security and checkpoints are made as Hyper-V makes them.
TEST(ScenarioTest, HandWrittenScenariosAreExpanded) {
  const auto host = SimulatedHost::FromJson(R"({
    "format": "quorvane-simulated-host", "version": 1, "host": {"name": "HV-LAB01"},
    "switches": ["LAN", {"name": "DMZ", "id": "5B1C0E5A-8F4B-4C1E-9F3A-2D6B7C8E9F01"}],
    "machines": [
      {"name": "web-01", "id": "6B5F2E9C-1D3A-4E7B-8C9D-0A1B2C3D4E5F", "memoryMb": 4096,
       "processors": 2, "state": "running",
       "disks": ["D:\\VMs\\web-01.vhdx",
                 {"path": "D:\\VMs\\data_1.avhdx", "parent": {"path": "D:\\VMs\\data.vhdx",
                                                           "sizeGb": 100}}],
       "dvds": ["D:\\iso\\tools.iso"],
       "security": {"tpm": true, "encryptState": true},
       "checkpoints": ["before update", {"recovery": true}]},
      {"name": "db-01", "generation": 1, "state": "off", "disks": ["D:\\VMs\\db.vhdx"]},
      {"name": "next", "planned": true}]})");
  auto service = CoreOf(host).Connect(L"", L"", L"", kVirtualizationNamespace);
  const auto web = service->GetObject(
      LR"(Msvm_ComputerSystem.CreationClassName="Msvm_ComputerSystem",Name="6B5F2E9C-1D3A-4E7B-8C9D-0A1B2C3D4E5F")");
  EXPECT_EQ(web->GetProperty(L"ElementName").AsWideString(), L"web-01");
  EXPECT_EQ(web->GetProperty(L"EnabledState").AsInteger(), 2);
  EXPECT_EQ(service->QueryAll(L"Msvm_VirtualEthernetSwitch").size(), 2u);
  EXPECT_EQ(service
                ->ExecQuery(L"SELECT * FROM Msvm_VirtualSystemSettingData WHERE "
                            L"VirtualSystemType = 'Microsoft:Hyper-V:Snapshot:Recovery'")
                .size(),
            1u);
  const VirtualDisk* base = CoreOf(host).Disks().Find(L"D:\\VMs\\data.vhdx");
  ASSERT_NE(base, nullptr);
  EXPECT_EQ(base->maxInternalSize, 100ull << 30);
  EXPECT_EQ(CoreOf(host).Disks().Find(L"D:\\VMs\\data_1.avhdx")->parentPath, base->path);
  EXPECT_EQ(service->QueryAll(L"Msvm_SecuritySettingData")[0]->GetProperty(L"TpmEnabled"),
            WmiValue::Boolean(true));
  EXPECT_EQ(service
                ->ExecQuery(L"SELECT * FROM Msvm_VirtualSystemSettingData WHERE "
                            L"VirtualSystemType = 'Microsoft:Hyper-V:System:Planned'")
                .size(),
            1u);

  const std::string head = R"({"format": "quorvane-simulated-host", "version": 1, )";
  EXPECT_EQ(ErrorOf(head + R"("machines": [{"name": "a", "state": "asleep"}]})"),
            "bad.json: /machines/0/state: expected \"running\", \"off\", \"saved\" or \"paused\"");
  EXPECT_EQ(ErrorOf(head + R"("machines": [{"name": "a", "disks": [{"sizeGb": 1}]}]})"),
            "bad.json: /machines/0/disks/0/path: a disk needs a path");
  EXPECT_EQ(ErrorOf(head + R"("machines": [{"name": "a", "memoryMb": -1}]})"),
            "bad.json: /machines/0/memoryMb: is out of range");
  EXPECT_EQ(ErrorOf(head + R"("machines": [{"name": "a", "version": "5.0"}]})"),
            "bad.json: /machines/0/version: the host does not list this configuration version");
  EXPECT_EQ(ErrorOf(head + R"("machines": [], "namespaces": {}})"),
            "bad.json: /machines: belongs to a hand-written scenario, which has no \"namespaces\"");
}

// A catalogue that spans hosts keys machines and disks by their ids: two hosts must not issue the
// same ones, and one host must issue the same ones each time it is loaded.
TEST(ScenarioTest, EachHostDrawsItsOwnIdentifiers) {
  const auto idsOf = [](const std::string& hostSettings) {
    const auto host = SimulatedHost::FromJson(
        R"({"format": "quorvane-simulated-host", "version": 1, "host": )" + hostSettings +
        R"(, "machines": [{"name": "web", "disks": ["D:\\web.vhdx"]}]})");
    auto service = CoreOf(host).Connect(L"", L"", L"", kVirtualizationNamespace);
    const auto machines =
        service->ExecQuery(L"SELECT * FROM Msvm_ComputerSystem WHERE Caption = 'Virtual Machine'");
    const auto disk = CoreOf(host).Disks().Find(L"D:\\web.vhdx");
    return machines.at(0)->GetProperty(L"Name").AsWideString() + L" " + disk->diskId;
  };
  EXPECT_NE(idsOf(R"({"name": "HV-A"})"), idsOf(R"({"name": "HV-B"})"));
  EXPECT_EQ(idsOf(R"({"name": "HV-A"})"), idsOf(R"({"name": "hv-a"})"));
  EXPECT_EQ(idsOf(R"({"name": "HV-A", "guidSeed": 7})"),
            idsOf(R"({"name": "HV-B", "guidSeed": 7})"));
}

TEST(ScenarioTest, InvalidScenariosNameTheSourceAndThePlace) {
  const std::string head =
      R"({"format": "quorvane-simulated-host", "version": 1, "namespaces": {"root\\virtualization\\v2": [)";
  EXPECT_EQ(ErrorOf("{"), ErrorOf("{"));
  EXPECT_EQ(ErrorOf("{").rfind("bad.json: not valid JSON: ", 0), 0u);
  EXPECT_EQ(ErrorOf("[]"), "bad.json: /: expected a JSON object");
  EXPECT_EQ(ErrorOf(R"({"format": "x"})"),
            "bad.json: /format: expected \"quorvane-simulated-host\"");
  EXPECT_EQ(ErrorOf(head + R"({"class": "Msvm_Nope"}]}})"),
            "bad.json: /namespaces/root\\virtualization\\v2/0/class: unknown class Msvm_Nope");
  EXPECT_EQ(ErrorOf(head + R"({"class": "Msvm_ComputerSystem", "properties": {"Nope": 1}}]}})"),
            "bad.json: /namespaces/root\\virtualization\\v2/0/properties/Nope: class "
            "Msvm_ComputerSystem has no such property");
  EXPECT_EQ(
      ErrorOf(head +
              R"({"class": "Msvm_ComputerSystem", "properties": {"EnabledState": "two"}}]}})"),
      "bad.json: /namespaces/root\\virtualization\\v2/0/properties/EnabledState: expected a "
      "uint16 value");
  EXPECT_EQ(ErrorOf(head + R"({"class": "Msvm_ComputerSystem", "properties": {"Name": "A"}}]}})"),
            "bad.json: /namespaces/root\\virtualization\\v2/0: Invalid parameter (the instance "
            "cannot be stored)");
  EXPECT_EQ(
      ErrorOf(R"({"format": "quorvane-simulated-host", "version": 1, "host": )"
              R"({"hostGuardian": false}, "namespaces": {"root\\microsoft\\windows\\hgs": []}})"),
      "bad.json: /namespaces/root\\microsoft\\windows\\hgs: the host has no such namespace");
  EXPECT_EQ(
      ErrorOf(
          R"({"format": "quorvane-simulated-host", "version": 1, "host": {"jobDurationMs": "x"}})"),
      "bad.json: /host/jobDurationMs: has the wrong type");
  // Numbers outside their type, of the wrong sign or not whole are refused, not wrapped.
  const std::string host = R"({"format": "quorvane-simulated-host", "version": 1, "host": )";
  EXPECT_EQ(ErrorOf(host + R"({"jobDurationMs": -5}})"),
            "bad.json: /host/jobDurationMs: is out of range");
  EXPECT_EQ(ErrorOf(host + R"({"jobDurationMs": 4294967296}})"),
            "bad.json: /host/jobDurationMs: is out of range");
  EXPECT_EQ(ErrorOf(host + R"({"jobDurationMs": 1e30}})"),
            "bad.json: /host/jobDurationMs: has the wrong type (expected a whole number)");
  // Found by fuzzing: numbers the JSON library would convert with undefined behaviour.
  EXPECT_EQ(ErrorOf(R"({"format": "quorvane-simulated-host", "version": 5.5e86})"),
            "bad.json: /version: has the wrong type (expected a whole number)");
  const std::string storage =
      R"({"format": "quorvane-simulated-host", "version": 1, "namespaces": {}, "storage": )";
  EXPECT_EQ(ErrorOf(storage + R"({"files": [{"path": "D:\\a.vhdx", "diskId": "A", )"
                              R"("maxInternalSize": 1, "format": 1e30}]}})"),
            "bad.json: /storage/files/0/format: has the wrong type (expected a whole number)");
  EXPECT_EQ(ErrorOf(storage + R"({"changeTracking": [{"path": "D:\\a.vhdx", "trackingGuid": )"
                              R"("G", "writes": [[-1, 1, 1]]}]}})"),
            "bad.json: /storage/changeTracking/0/writes/0/0: is out of range");
  EXPECT_EQ(ErrorOf(storage + R"({"files": [{"diskId": "A", "maxInternalSize": 1}]}})"),
            "bad.json: /storage/files/0/path: is missing");
  // Storage entries are read as the parser meets them, yet a scenario with several problems
  // is refused for the one a whole reading finds first: files before change logs, and a
  // hand-written scenario for having storage at all.
  EXPECT_EQ(ErrorOf(storage + R"({"changeTracking": [{"path": 1}], "files": [{"diskId": 1}]}})"),
            "bad.json: /storage/files/0/path: is missing");
  EXPECT_EQ(ErrorOf(R"({"format": "quorvane-simulated-host", "version": 1, "machines": [], )"
                    R"("storage": {"files": [{"diskId": 1}]}})"),
            "bad.json: /storage: belongs to a saved scenario, which has \"namespaces\"");
  // A number too large for the JSON parser itself ends in the library's exception.
  EXPECT_EQ(ErrorOf(host + R"({"jobDurationMs": 12036054E80848365863}})")
                .rfind("bad.json: not valid JSON: ", 0),
            0u);

  try {
    SimulatedHost::LoadScenario("/nonexistent/scenario.json");
    FAIL() << "expected a failure";
  } catch (const DefaultException& e) {
    EXPECT_STREQ(e.what(), "/nonexistent/scenario.json: cannot be opened");
  }
}

// A mistyped name would make a test that scripts nothing, or a host unlike the one meant: every
// name the forms do not know is refused with its place, at every level.
// Disk chains that would make a listing endless, sizes that would wrap, paths that name no file
// and files that are no scenario (a folder, /dev/zero) are refused where they stand.
TEST(ScenarioTest, HostileDiskChainsAreRefused) {
  const auto folder = std::filesystem::temp_directory_path();
  try {
    SimulatedHost::LoadScenario(folder);
    ADD_FAILURE() << "a folder was loaded";
  } catch (const DefaultException& e) {
    EXPECT_EQ(std::string(e.what()), folder.string() + ": is not a regular file");
  }
  const std::string machine =
      R"({"format": "quorvane-simulated-host", "version": 1, "machines": [{"name": "a", "disks": [)";
  const std::string sizeRefused =
      "bad.json: /machines/0/disks/0/sizeGb: must be from 1 to 65536 (64 TiB, the largest VHDX)";
  EXPECT_EQ(ErrorOf(machine + R"({"path": "D:\\a.vhdx", "sizeGb": 0}]}]})"), sizeRefused);
  EXPECT_EQ(ErrorOf(machine + R"({"path": "D:\\a.vhdx", "sizeGb": 17179869184}]}]})"), sizeRefused);
  EXPECT_EQ(ErrorOf(machine + R"(""]}]})"), "bad.json: /machines/0/disks/0: a disk needs a path");
  EXPECT_EQ(ErrorOf(machine + R"({"path": "D:\\a.vhdx", "parent": {"path": "D:\\A.vhdx"}}]}]})"),
            "bad.json: /machines/0/disks/0: names a file that already stands on another parent, "
            "or on itself");
  EXPECT_EQ(ErrorOf(machine + R"({"path": "D:\\c.vhdx", "parent": {"path": "D:\\b.vhdx", )"
                              R"("parent": {"path": "D:\\a.vhdx", "sizeGb": 1}}}]}]})"),
            "");
  const std::string storage =
      R"({"format": "quorvane-simulated-host", "version": 1, "namespaces": {}, "storage": )";
  EXPECT_EQ(
      ErrorOf(
          storage +
          R"({"files": [)"
          R"({"path": "D:\\a.vhdx", "diskId": "A", "maxInternalSize": 1, "parentPath": "D:\\b.vhdx"},)"
          R"({"path": "D:\\b.vhdx", "diskId": "B", "maxInternalSize": 1, "parentPath": "D:\\a.vhdx"}]}})"),
      "bad.json: /storage/files/0/parentPath: the chain of parents comes back to this file");
}

// Identifiers that are not GUIDs would reach queries as text of any shape, and sizes past what a
// machine takes would break every listing later: both are refused when the scenario loads.
TEST(ScenarioTest, HostileMachinesAndSwitchesAreRefused) {
  const std::string head = R"({"format": "quorvane-simulated-host", "version": 1, )";
  EXPECT_EQ(ErrorOf(head + R"("machines": [{"name": "a"}, {"name": "b", "memoryMb": 1, )"
                           R"("disks": [], "memoryMb": 2}]})"),
            "bad.json: /machines/1/memoryMb: is given twice");
  EXPECT_EQ(ErrorOf(head + R"("host": {"name": "x"}, "host": {"name": "y"}})"),
            "bad.json: /host: is given twice");
  const std::string notGuid =
      ": expected a GUID as Hyper-V writes one, such as 6B5F2E9C-1D3A-4E7B-8C9D-0A1B2C3D4E5F";
  EXPECT_EQ(ErrorOf(head + R"("machines": [{"name": "a", "id": "1\" OR Name = \"x"}]})"),
            "bad.json: /machines/0/id" + notGuid);
  EXPECT_EQ(ErrorOf(head + R"("machines": [{"name": "a", "memoryMb": 9223372036854775808}]})"),
            "bad.json: /machines/0/memoryMb: must be from 1 to 12582912 (12 TiB, the most a "
            "machine takes)");
  EXPECT_EQ(ErrorOf(head + R"("machines": [{"name": "a", "processors": 0}]})"),
            "bad.json: /machines/0/processors: must be from 1 to 2048");
  EXPECT_EQ(
      ErrorOf(head +
              R"("switches": [{"name": "a", "id": "{5B1C0E5A-8F4B-4C1E-9F3A-2D6B7C8E9F01}"}]})"),
      "bad.json: /switches/0/id" + notGuid);
  EXPECT_EQ(
      ErrorOf(head + R"("switches": [{"name": "a", "id": "5B1C0E5A-8F4B-4C1E-9F3A-2D6B7C8E9F01"}, )"
                     R"({"name": "b", "id": "5b1c0e5a-8f4b-4c1e-9f3a-2d6b7c8e9f01"}]})"),
      "bad.json: /switches/1/id: another switch has this id");
}

TEST(ScenarioTest, UnknownNamesAreRefusedWhereTheyStand) {
  const std::string head = R"({"format": "quorvane-simulated-host", "version": 1, )";
  const std::string fault =
      R"("faults": [{"class": "Msvm_ComputerSystem", "method": "RequestStateChange", )";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {head + R"("fault": []})", "/fault"},
      {head + R"("machine": []})", "/machine"},
      {head + R"("host": {"jobDurationMS": 5}})", "/host/jobDurationMS"},
      {head + fault + R"("returnValue": 1, "cont": 2}]})", "/faults/0/cont"},
      {head + R"("host": {"synchronousMethods": [{"class": "A", "method": "B", "x": 1}]}})",
       "/host/synchronousMethods/0/x"},
      {head + R"("switches": [{"name": "LAN", "vlan": 5}]})", "/switches/0/vlan"},
      {head + R"("machines": [{"name": "a", "memorymb": 4096}]})", "/machines/0/memorymb"},
      {head + R"("machines": [{"name": "a", "disks": [{"path": "D:\\a.vhdx", "sizeGB": 1}]}]})",
       "/machines/0/disks/0/sizeGB"},
      {head + R"("machines": [{"name": "a", "security": {"TPM": true}}]})",
       "/machines/0/security/TPM"},
      {head + R"("machines": [{"name": "a", "checkpoints": [{"name": "c", "type": 1}]}]})",
       "/machines/0/checkpoints/0/type"},
      {head + R"("namespaces": {"root\\virtualization\\v2": [{"class": )"
              R"("Msvm_ComputerSystem", "propertes": {}}]}})",
       "/namespaces/root\\virtualization\\v2/0/propertes"},
      {head + R"("namespaces": {}, "storage": {"file": []}})", "/storage/file"},
      {head + R"("namespaces": {}, "storage": {"files": [{"path": "D:\\a.vhdx", )"
              R"("diskId": "A", "maxInternalSize": 1, "parent": "x"}]}})",
       "/storage/files/0/parent"},
      {head + R"("namespaces": {}, "storage": {"changeTracking": [{"path": "D:\\a.vhdx", )"
              R"("trackingGuid": "G", "write": []}]}})",
       "/storage/changeTracking/0/write"},
  };
  for (const auto& [scenario, place] : cases) {
    EXPECT_EQ(ErrorOf(scenario).rfind("bad.json: " + place + ": is not a known name here", 0), 0u)
        << ErrorOf(scenario);
  }
}

}  // namespace
}  // namespace quorvane::sim
