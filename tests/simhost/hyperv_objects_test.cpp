// Objects as real hosts show them: a running machine's computer system, and reference points.
#include "simhost/hyperv_model.h"
#include "simhost/sim_fixture.h"
#include "wmi/wmi_job.h"

namespace quorvane::sim {
namespace {

class HyperVObjectsTest : public SimHostTest {
 protected:
  WmiObjectPtr Machine(const std::wstring& id) {
    return service_->GetObject(
        L"Msvm_ComputerSystem.CreationClassName=\"Msvm_ComputerSystem\",Name=\"" + id + L"\"");
  }

  WmiMethodPtr Run(const WmiObjectPtr& target, const std::wstring& name,
                   const std::vector<std::pair<std::wstring, WmiValue>>& inputs) {
    const auto method = target->CreateMethod(name);
    for (const auto& [parameter, value] : inputs) {
      method->SetParameter(parameter, value);
    }
    WmiJob job(service_, method);
    job.Run();
    return method;
  }
};

TEST_F(HyperVObjectsTest, ARunningMachineShowsItsUptimeAndWorkerProcess) {
  const auto id = host_.AddMachine({.name = L"web", .enabledState = 2});
  host_.AdvanceClock(5000);
  auto vm = Machine(id);
  EXPECT_EQ(vm->GetProperty(L"RequestedState").AsInteger(), 5);
  EXPECT_EQ(vm->GetProperty(L"EnabledDefault").AsInteger(), 2);
  EXPECT_EQ(vm->GetProperty(L"Status").AsWideString(), L"OK");
  EXPECT_FALSE(vm->GetProperty(L"ProcessID").IsNull());
  EXPECT_EQ(vm->GetProperty(L"OnTimeInMilliseconds").AsWideString(), L"5000");
  host_.AdvanceClock(1000);
  EXPECT_EQ(Machine(id)->GetProperty(L"OnTimeInMilliseconds").AsWideString(), L"6000");

  Run(vm, L"RequestStateChange", {{L"RequestedState", WmiValue::Int32(3)}});
  vm = Machine(id);
  EXPECT_EQ(vm->GetProperty(L"RequestedState").AsInteger(), 5);
  EXPECT_TRUE(vm->GetProperty(L"ProcessID").IsNull());
  EXPECT_EQ(vm->GetProperty(L"OnTimeInMilliseconds").AsWideString(), L"0");
}

std::vector<std::wstring> Texts(const WmiValue& array) {
  std::vector<std::wstring> texts;
  for (const auto& element : array.Elements()) {
    texts.push_back(element.AsWideString());
  }
  return texts;
}

TEST_F(HyperVObjectsTest, AMachineCarriesWhatARecordedMachineCarries) {
  const auto vm = Machine(host_.AddMachine({.name = L"web", .enabledState = 3}));
  EXPECT_EQ(Texts(vm->GetProperty(L"StatusDescriptions")),
            std::vector<std::wstring>{L"Operating normally"});
  EXPECT_EQ(vm->GetProperty(L"NumberOfNumaNodes").AsInteger(), 1);
  EXPECT_EQ(vm->GetProperty(L"ResetCapability").AsInteger(), 1);
  EXPECT_EQ(vm->GetProperty(L"ReplicationState").AsInteger(), 0);
  EXPECT_EQ(vm->GetProperty(L"ReplicationMode").AsInteger(), 0);
  EXPECT_EQ(vm->GetProperty(L"LastReplicationTime").AsWideString(), L"16010101000000.000000-000");
  EXPECT_EQ(vm->GetProperty(L"TimeOfLastConfigurationChange").AsWideString(),
            vm->GetProperty(L"InstallDate").AsWideString());
}

TEST_F(HyperVObjectsTest, ServicesAndJobsCarryTheirDocumentedDefaults) {
  const auto images = service_->QueryFirst(L"Msvm_ImageManagementService");
  EXPECT_EQ(images->GetProperty(L"Caption").AsWideString(), L"Hyper-V Image Management Service");
  EXPECT_EQ(Texts(images->GetProperty(L"StatusDescriptions")), std::vector<std::wstring>{L"OK"});
  EXPECT_EQ(images->GetProperty(L"HealthState").AsInteger(), 5);
  const auto management = service_->QueryFirst(L"Msvm_VirtualSystemManagementService");
  EXPECT_EQ(management->GetProperty(L"ElementName").AsWideString(),
            L"Hyper-V Virtual System Management Service");
  EXPECT_EQ(management->GetProperty(L"OperationalStatus").Elements().at(0).AsInteger(), 2);
  EXPECT_EQ(management->GetProperty(L"RequestedState").AsInteger(), 12);

  Run(Machine(host_.AddMachine({.name = L"web", .enabledState = 3})), L"RequestStateChange",
      {{L"RequestedState", WmiValue::Int32(2)}});
  const auto job = Query(L"SELECT * FROM Msvm_ConcreteJob").at(0);
  EXPECT_EQ(Texts(job->GetProperty(L"StatusDescriptions")), std::vector<std::wstring>{L"OK"});
  EXPECT_EQ(job->GetProperty(L"HealthState").AsInteger(), 5);
}

// While a state change runs, the machine shows where it is going; a failed change puts it back.
TEST_F(HyperVObjectsTest, AMachineShowsItsStateChangeWhileItRuns) {
  const auto id = host_.AddMachine({.name = L"web", .enabledState = 3});
  const auto request = [&](std::int32_t state) {
    const auto method = Machine(id)->CreateMethod(L"RequestStateChange");
    method->SetParameter(L"RequestedState", WmiValue::Int32(state));
    return method->Execute();
  };
  using States = std::pair<std::int64_t, std::int64_t>;  // "EnabledState", "RequestedState"
  const auto states = [&] {
    const auto vm = Machine(id);
    return States(vm->GetProperty(L"EnabledState").AsInteger(),
                  vm->GetProperty(L"RequestedState").AsInteger());
  };
  ASSERT_EQ(request(2), 4096u);
  EXPECT_EQ(states(), States(10, 2));
  EXPECT_EQ(request(3), 32775u) << "a machine that is starting cannot be turned off yet";
  host_.AdvanceClock(300);
  EXPECT_EQ(states(), States(2, 5));

  ASSERT_EQ(request(6), 4096u);
  EXPECT_EQ(states(), States(32773, 6));
  host_.AdvanceClock(300);
  host_.FailJobs(L"Msvm_ComputerSystem", L"RequestStateChange", 32768, L"Failed to start.");
  ASSERT_EQ(request(2), 4096u);
  EXPECT_EQ(states(), States(10, 2));
  host_.AdvanceClock(300);
  EXPECT_EQ(states(), States(6, 5));
}

TEST_F(HyperVObjectsTest, OnlyListedConfigurationVersionsAreDefined) {
  const auto define = [&](const std::wstring& version) {
    const auto settings = service_->SpawnInstance(L"Msvm_VirtualSystemSettingData");
    settings->SetProperty(L"ElementName", WmiValue::String(L"new"));
    settings->SetProperty(L"Version", WmiValue::String(version));
    const auto method =
        service_->QueryFirst(L"Msvm_VirtualSystemManagementService")->CreateMethod(L"DefineSystem");
    method->SetParameter(L"SystemSettings", WmiValue::String(settings->GetText()));
    return method->Execute();
  };
  EXPECT_EQ(define(L"5.0"), 32773u);
  EXPECT_EQ(define(L"10.1"), 32773u);
  EXPECT_TRUE(Query(L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName = 'new'").empty());
  EXPECT_EQ(define(L"9.0"), 4096u);
  EXPECT_EQ(Query(L"SELECT * FROM Msvm_ComputerSystem WHERE ElementName = 'new'").size(), 1u);
}

TEST_F(HyperVObjectsTest, AReferencePointKeepsItsCheckpointsConsistencyLevel) {
  const auto id = host_.AddMachine({.name = L"web", .enabledState = 2});
  const auto snapshotService = service_->QueryFirst(L"Msvm_VirtualSystemSnapshotService");
  const auto levelOf = [&](std::int32_t requested) {
    const auto settings = service_->SpawnInstance(L"Msvm_VirtualSystemSnapshotSettingData");
    settings->SetProperty(L"ConsistencyLevel", WmiValue::Int32(requested));
    Run(snapshotService, L"CreateSnapshot",
        {{L"AffectedSystem", WmiValue::String(Machine(id)->GetPath())},
         {L"SnapshotType", WmiValue::Int32(32768)},
         {L"SnapshotSettings", WmiValue::String(settings->GetText())}});
    const auto snapshot = Query(
                              L"SELECT * FROM Msvm_VirtualSystemSettingData WHERE "
                              L"VirtualSystemType = 'Microsoft:Hyper-V:Snapshot:Recovery'")
                              .at(0);
    Run(snapshotService, L"ConvertToReferencePoint",
        {{L"AffectedSnapshot", WmiValue::String(snapshot->GetPath())}});
    const auto points = Query(L"SELECT * FROM Msvm_VirtualSystemReferencePoint");
    const auto level = points.back()->GetProperty(L"ConsistencyLevel").AsInteger();
    host_.AdvanceClock(60000);  // the merge
    return level;
  };
  EXPECT_EQ(levelOf(1), 1);
  EXPECT_EQ(levelOf(2), 2);
}

}  // namespace
}  // namespace quorvane::sim
