#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "com_status_of.h"
#include "sim_fixture.h"
#include "simhost/hyperv_model.h"
#include "wmi/wmi_job.h"

namespace quorvane::sim {
namespace {

using quorvane::testing::ComStatusOf;
using ::testing::ElementsAre;

constexpr wchar_t kVmPath[] =
    L"Msvm_ComputerSystem.CreationClassName=\"Msvm_ComputerSystem\",Name=\"AAAA-1\"";

// A stand-in behaviour: the requested state takes effect when the job ends.
class JobsAndFaultsTest : public SimHostTest {
 protected:
  JobsAndFaultsTest() {
    AddMachine(L"AAAA-1", L"web", 3);
    Core().RegisterDeferred(L"SetState", [](JobContext& job, const Deferred& work) {
      const auto vm = job.Object(work, L"Machine");
      job.repository.Set(vm, L"EnabledState", WmiValue::Int32(std::stoi(work.Argument(L"State"))));
      job.AddAffected(vm);
    });
    Core().RegisterMethod(L"Msvm_ComputerSystem", L"RequestStateChange", [](MethodCall& call) {
      return call.Complete(12,
                           {L"SetState",
                            {{L"Machine", call.repository.RelativePath(*call.target)},
                             {L"State", std::to_wstring(call.In(L"RequestedState").AsInteger())}}});
    });
    host_.ClearCallLog();
  }

  // Starts the machine through the WMI layer, as the library does.
  std::shared_ptr<WmiJob> Start() {
    const auto vm = service_->GetObject(kVmPath);
    const auto method = vm->CreateMethod(L"RequestStateChange");
    method->SetParameter(L"RequestedState", WmiValue::Int32(2));
    auto job = std::make_shared<WmiJob>(service_, method);
    job->Run();
    return job;
  }

  std::int64_t EnabledState() {
    return V2().Property(*V2().Find(kVmPath), L"EnabledState").AsInteger();
  }

  std::vector<std::wstring> Operations() {
    std::vector<std::wstring> out;
    for (const auto& call : host_.CallLog()) {
      out.push_back(call.operation + (call.method.empty() ? L"" : L" " + call.method));
    }
    return out;
  }
};

TEST_F(JobsAndFaultsTest, JobRunsSeveralPollsOnTheSimulatedClock) {
  const auto job = Start();
  EXPECT_EQ(EnabledState(), 2);
  EXPECT_THAT(
      Operations(),
      ElementsAre(L"GetObject", L"GetObject", L"ExecMethod RequestStateChange", L"GetObject",
                  L"Wait", L"GetObject", L"Wait", L"GetObject", L"Wait", L"GetObject"));
  EXPECT_EQ(host_.ClockMs(), 300u);
  const auto calls = host_.CallLog();
  EXPECT_EQ(calls[2].target, std::wstring(L"\\\\HV-HOST01\\root\\virtualization\\v2:") + kVmPath);
  EXPECT_EQ(calls[2].Input(L"RequestedState"), L"2");
  EXPECT_EQ(calls[4].Input(L"Milliseconds"), L"100");

  const auto affected = job->GetAffectedElement(L"Msvm_ComputerSystem");
  ASSERT_NE(affected, nullptr);
  EXPECT_EQ(affected->GetProperty(L"Name").AsWideString(), L"AAAA-1");

  const auto jobs = Query(L"SELECT * FROM Msvm_ConcreteJob");
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0]->GetProperty(L"JobState").AsInteger(), 7);
  EXPECT_EQ(jobs[0]->GetProperty(L"JobType").AsInteger(), 12);
  EXPECT_EQ(jobs[0]->GetProperty(L"PercentComplete").AsInteger(), 100);
}

TEST_F(JobsAndFaultsTest, SynchronousMethodsAnswerWithoutAJob) {
  Core().SetSynchronous(L"Msvm_ComputerSystem", L"RequestStateChange", true);
  const auto job = Start();
  EXPECT_EQ(EnabledState(), 2);
  EXPECT_EQ(host_.ClockMs(), 0u);
  EXPECT_EQ(job->GetAffectedElement(L"Msvm_ComputerSystem"), nullptr);
  EXPECT_TRUE(Query(L"SELECT * FROM Msvm_ConcreteJob").empty());
}

TEST_F(JobsAndFaultsTest, ScriptedMethodFailureChangesNothing) {
  host_.FailMethodCalls(L"CIM_ComputerSystem", L"RequestStateChange", 32775, 2);
  for (int i = 0; i < 2; ++i) {
    try {
      Start();
      FAIL() << "expected a failure";
    } catch (const DefaultException& e) {
      EXPECT_EQ(e.GetErrorCode(), 32775u);
      EXPECT_STREQ(e.GetMessageDescription(), L"Wmi error on run method: 32775");
    }
  }
  EXPECT_EQ(EnabledState(), 3);
  Start();  // the third call goes through
  EXPECT_EQ(EnabledState(), 2);
}

TEST_F(JobsAndFaultsTest, ScriptedJobFailureEndsInStateTenAndSkipsTheEffect) {
  host_.FailJobs(L"Msvm_ComputerSystem", L"RequestStateChange", 32768, L"Failed to start.");
  try {
    Start();
    FAIL() << "expected a failure";
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode(), 32768u);
    EXPECT_STREQ(e.GetMessageDescription(), L"Failed to start.");
  }
  EXPECT_EQ(EnabledState(), 3);
  const auto jobs = Query(L"SELECT * FROM Msvm_ConcreteJob WHERE JobState = 10");
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0]->GetProperty(L"ErrorDescription").AsWideString(), L"Failed to start.");
}

// A failed job reads as a real host's: the operation's own error code, name and description,
// and a status text; Hyper-V removes it five minutes after it ends.
TEST_F(JobsAndFaultsTest, FailedJobsDescribeTheirOperationAndGoAwayLater) {
  host_.FailJobs(L"Msvm_ComputerSystem", L"RequestStateChange", 0, L"'web' failed to start.");
  try {
    Start();
    FAIL() << "expected a failure";
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode(), 32788u);
  }
  const auto jobs = Query(L"SELECT * FROM Msvm_ConcreteJob");
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0]->GetProperty(L"ElementName").AsWideString(), L"Starting");
  EXPECT_EQ(jobs[0]->GetProperty(L"Description").AsWideString(),
            L"Initializing and Starting Virtual Machine");
  EXPECT_EQ(jobs[0]->GetProperty(L"JobStatus").AsWideString(), L"Job is completed with error");
  host_.AdvanceClock(5 * 60 * 1000 - 1000);
  EXPECT_EQ(Query(L"SELECT * FROM Msvm_ConcreteJob").size(), 1u);
  host_.AdvanceClock(1000);
  EXPECT_TRUE(Query(L"SELECT * FROM Msvm_ConcreteJob").empty());
}

// An effect that fails partway leaves nothing of what it did: objects, values, disk files and
// timers are as before, and the job reports the failure.
TEST_F(JobsAndFaultsTest, AJobEffectAppliesAllOrNothing) {
  CreateDiskFile(Core(), L"D:\\kept.vhdx", 1 << 20, L"");
  bool timerRan = false;
  Core().RegisterDeferred(L"Timer", [&timerRan](JobContext&, const Deferred&) { timerRan = true; });
  Core().RegisterDeferred(L"Partial", [](JobContext& job, const Deferred& work) {
    const auto vm = job.Object(work, L"Machine");
    {
      job.repository.Set(vm, L"EnabledState", WmiValue::Int32(2));
      const auto other = job.repository.Create(
          L"Msvm_ComputerSystem", {{L"CreationClassName", WmiValue::String(L"Msvm_ComputerSystem")},
                                   {L"Name", WmiValue::String(L"BBBB-2")}});
      job.repository.Associate(L"Msvm_SystemDevice", L"GroupComponent", vm, L"PartComponent",
                               other);
      job.repository.Delete(
          *job.repository.Find(L"Msvm_VirtualSystemSettingData.InstanceID=\"Microsoft:AAAA-1\""));
      job.host.Disks().Remove(L"D:\\kept.vhdx");
      job.host.Schedule(10, kVirtualizationNamespace, {L"Timer", {}});
      throw DefaultException(32768, L"The worker process ended.");
    }
  });
  Core().RegisterMethod(L"Msvm_ComputerSystem", L"RequestStateChange", [](MethodCall& call) {
    return call.Complete(12,
                         {L"Partial", {{L"Machine", call.repository.RelativePath(*call.target)}}});
  });
  const auto before = host_.ToJson();
  EXPECT_THROW(Start(), DefaultException);
  host_.AdvanceClock(1000);
  EXPECT_FALSE(timerRan);
  auto after = nlohmann::json::parse(host_.ToJson());
  auto expected = nlohmann::json::parse(before);
  after["namespaces"]["root\\virtualization\\v2"].erase(
      after["namespaces"]["root\\virtualization\\v2"].size() - 1);  // the failed job
  after["host"].erase("clockMs");
  expected["host"].erase("clockMs");
  after["host"].erase("guidSeed");
  expected["host"].erase("guidSeed");
  EXPECT_EQ(after["underWay"]["timers"].size(), 1u) << "only the failed job's removal";
  after.erase("underWay");
  expected.erase("underWay");
  EXPECT_EQ(after, expected);
  EXPECT_EQ(Query(L"SELECT * FROM Msvm_ConcreteJob WHERE JobState = 10").size(), 1u);
}

TEST_F(JobsAndFaultsTest, ScriptedOperationFailures) {
  host_.FailOperations(L"GetObject", L"aaaa-1", 0x80041001u, 1);
  EXPECT_EQ(StatusOf([&] { service_->GetObject(kVmPath); }), 0x80041001u);
  EXPECT_EQ(StatusOf([&] { service_->GetObject(kVmPath); }), 0u);

  host_.FailOperations(L"ExecQuery", L"", 0x80070005u, -1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_THROW(Query(L"SELECT * FROM Msvm_ComputerSystem"), AccessDeniedException);
  }
  host_.ClearFaults();
  EXPECT_EQ(Query(L"SELECT * FROM Msvm_ComputerSystem").size(), 2u);

  host_.FailOperations(L"ExecMethod", L"", 0x80041008u, 1);
  EXPECT_EQ(StatusOf([&] { Start(); }), 0x80041008u);
  EXPECT_THROW(host_.FailOperations(L"Teleport", L"", 1u), DefaultException);
}

// A fault can hit exactly the n-th matching call: the ones before pass, later ones too, and a
// fault that waits counts calls even while another one fires.
TEST_F(JobsAndFaultsTest, FaultsHitTheNthMatchingCall) {
  host_.FailNthOperation(L"GetObject", L"aaaa-1", 3, 0x80041001u);
  host_.FailNthOperation(L"GetObject", L"aaaa-1", 2, 0x80041002u);
  std::vector<std::uint32_t> statuses;
  for (int i = 0; i < 4; ++i) {
    statuses.push_back(StatusOf([&] { service_->GetObject(kVmPath); }));
  }
  EXPECT_EQ(statuses, (std::vector<std::uint32_t>{0u, 0x80041002u, 0x80041001u, 0u}));

  host_.FailNthMethodCall(L"Msvm_ComputerSystem", L"RequestStateChange", 2, 32775);
  host_.FailNthJob(L"Msvm_ComputerSystem", L"RequestStateChange", 1, 32788, L"Failed to start");
  EXPECT_EQ(StatusOf([&] { Start(); }), 32788u);  // the first call's job fails
  EXPECT_EQ(StatusOf([&] { Start(); }), 32775u);  // the second call is refused
  EXPECT_EQ(StatusOf([&] { Start(); }), 0u);
  EXPECT_THROW(host_.FailNthOperation(L"GetObject", L"", 0, 1u), DefaultException);
}

TEST_F(JobsAndFaultsTest, MethodsTheHostDoesNotModelAreRefused) {
  const auto service = Query(L"SELECT * FROM Msvm_VirtualSystemManagementService")[0];
  auto method = service->CreateMethod(L"GenerateWwpn");
  EXPECT_EQ(StatusOf([&] { method->Execute(); }), 0x8004100Cu);
  EXPECT_EQ(StatusOf([&] { service->CreateMethod(L"NoSuchMethod"); }), 0x80041002u);
  EXPECT_EQ(StatusOf([&] { method->SetParameter(L"NoSuchParameter", WmiValue::Int32(1)); }),
            0x80041002u);
  EXPECT_EQ(ComStatusOf([&] { method->GetOutParameter(L"Job"); }), status::kPointer);
}

TEST(SimConnectTest, ConnectionFailuresAsRealWmiGivesThem) {
  auto host = SimulatedHost::Create(
      {.name = L"HV-HOST01", .hostGuardian = false, .user = L"admin", .password = L"secret"});
  HostCore& core = CoreOf(host);
  const auto status = [&](const wchar_t* server, const wchar_t* user, const wchar_t* password,
                          const wchar_t* nameSpace) {
    try {
      core.Connect(server, user, password, nameSpace);
    } catch (const DefaultException& e) {
      return e.GetErrorCode();
    }
    return 0u;
  };
  EXPECT_EQ(status(L"", L"", L"", kVirtualizationNamespace), 0u);
  EXPECT_EQ(status(L"", L"", L"", kHgsNamespace), 0x8004100Eu);
  EXPECT_EQ(status(L"", L"admin", L"secret", kVirtualizationNamespace), 0x80041064u);
  EXPECT_EQ(status(L"OTHER", L"admin", L"secret", kVirtualizationNamespace), 0x800706BAu);
  EXPECT_EQ(status(L"hv-host01", L"admin", L"wrong", kVirtualizationNamespace), 0x80070005u);
  EXPECT_EQ(status(L"hv-host01", L"admin", L"secret", kVirtualizationNamespace), 0u);

  host.FailOperations(L"Connect", L"virtualization", 0x800706BAu, 1);
  EXPECT_THROW(core.Connect(L"", L"", L"", kVirtualizationNamespace), CannotConnectException);
  const auto calls = host.CallLog();
  EXPECT_EQ(calls.back().target, L"\\\\.\\root\\virtualization\\v2");
  EXPECT_EQ(calls[2].Input(L"User"), L"admin");
}

TEST_F(JobsAndFaultsTest, OneHostServesSeveralThreads) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this] {
      auto service = Core().Connect(L"", L"", L"", kVirtualizationNamespace);
      for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(service->ExecQuery(L"SELECT * FROM Msvm_ComputerSystem").size(), 2u);
        service->Wait(1);
      }
    });
  }
  // The clock moved by hand and by the host's own core, alongside the clients.
  threads.emplace_back([this] {
    for (int i = 0; i < 100; ++i) {
      host_.AdvanceClock(1);
      Core().AdvanceClock(1);
    }
  });
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(host_.ClockMs(), 600u);
}

}  // namespace
}  // namespace quorvane::sim
