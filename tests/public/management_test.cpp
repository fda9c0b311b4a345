#include "public_fixture.h"

namespace quorvane::testing {
namespace {

using sim::SimulatedHost;

class ManagementTest : public ::testing::Test {
 protected:
  ManagementTest() : host_(NewHost()) {
    running_ = host_.AddMachine({.name = L"running", .enabledState = 2});
    off_ = host_.AddMachine({.name = L"off", .enabledState = 3});
    root_ = Own(host_.CreateQuorvane());
    management_ = Own(root_->CreateMachineManagement(false));
    host_.ClearCallLog();
  }

  std::vector<sim::Call> StateRequests() { return CallsOf(host_, L"ExecMethod"); }

  SimulatedHost host_;
  std::wstring running_;
  std::wstring off_;
  Owned<IQuorvane> root_;
  Owned<IMachineManagement> management_;
};

TEST_F(ManagementTest, StateChangesAreIdempotent) {
  management_->Start(running_.c_str());
  management_->PowerOff(off_.c_str());
  EXPECT_TRUE(StateRequests().empty()) << "no RequestStateChange for a machine already there";

  management_->Save(running_.c_str());
  const auto requests = StateRequests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].method, L"RequestStateChange");
  EXPECT_EQ(requests[0].Input(L"RequestedState"), L"6");
  EXPECT_EQ(management_->GetEnabledState(running_.c_str()), 6u);
  EXPECT_GE(host_.ClockMs(), 300u);  // the job was waited for on the host's clock

  management_->Start(running_.c_str());
  management_->PowerOff(running_.c_str());
  EXPECT_EQ(management_->GetEnabledState(running_.c_str()), 3u);
  EXPECT_EQ(StateRequests().size(), 3u);
}

TEST_F(ManagementTest, RefusedTransitionsComeBackAsTheHostAnswers) {
  const auto refused = Raised([&] { management_->Save(off_.c_str()); });
  EXPECT_EQ(refused.GetErrorCode(), 32775u);
  EXPECT_STREQ(refused.GetMessageDescription(), L"Wmi error on run method: 32775");
  EXPECT_EQ(StateRequests().at(0).Input(L"RequestedState"), L"6");  // sent anyway

  host_.FailJobs(L"Msvm_ComputerSystem", L"RequestStateChange", 32768, L"Start failed.");
  const auto failed = Raised([&] { management_->Start(off_.c_str()); });
  EXPECT_EQ(failed.GetErrorCode(), 32768u);
  EXPECT_STREQ(failed.GetMessageDescription(), L"Start failed.");
  EXPECT_EQ(management_->GetEnabledState(off_.c_str()), 3u);
}

TEST_F(ManagementTest, MissingMachinesAndNullNames) {
  const std::vector<std::function<void()>> operations = {
      [&] { management_->Start(L"ghost"); },
      [&] { management_->PowerOff(L"ghost"); },
      [&] { management_->Save(L"ghost"); },
      [&] { management_->DeleteMachine(L"ghost"); },
      [&] { management_->GetEnabledState(L"ghost"); },
      [&] { management_->GetOperationalStatus(L"ghost"); },
  };
  for (const auto& operation : operations) {
    const auto e = Raised<VmNotFoundException>(operation);
    EXPECT_EQ(e.GetErrorCode(), 0xFFFFFFFFu);
    EXPECT_STREQ(e.GetMessageDescription(), L"Cannot find machine: ghost");
  }
  EXPECT_STREQ(Raised([&] { management_->Start(nullptr); }).GetMessageDescription(),
               L"Machine name must not be null");
}

TEST_F(ManagementTest, OperationalStatus) {
  const auto status = [&](std::vector<std::uint16_t> values) {
    const auto id = host_.AddMachine({.name = L"x", .operationalStatus = std::move(values)});
    return management_->GetOperationalStatus(id.c_str());
  };
  EXPECT_EQ(status({2}), 2u);
  EXPECT_EQ(status({2, 32775}), 32775u);
  EXPECT_EQ(status({3, 32775}), 3u);
  EXPECT_EQ(status({}), 2u);
}

// Removing a checkpoint makes the machine report "merging disks" for as long as the merge
// lasts; a merge of no length is never reported.
TEST(MergeTest, AMergeIsReportedForItsLengthOnly) {
  for (const std::uint32_t mergeMs : {15000u, 0u}) {
    sim::HostOptions options;
    options.mergeDurationMs = mergeMs;
    auto host = NewHost(options);
    const auto machine = host.AddMachine({.name = L"web", .enabledState = 2});
    host.AddDiskFile(L"D:\\web.vhdx", 1 << 30);
    host.AttachDisk(machine, L"D:\\web.vhdx");
    const auto checkpoint = host.AddSnapshot(machine);
    auto root = Own(host.CreateQuorvane());
    Own(root->CreateSnapshotManagement(machine.c_str()))
        ->DestroySnapshot(checkpoint.c_str(), false);
    const auto status =
        Own(root->CreateMachineManagement(false))->GetOperationalStatus(machine.c_str());
    EXPECT_EQ(status, mergeMs == 0 ? 2u : 32772u) << "merge of " << mergeMs << " ms";
  }
}

// A job that would run for ten hours makes the host fail the wait after its bound instead of
// hanging the test; the host serves on afterwards.
TEST(WaitBoundTest, AWaitWithoutEndFailsAfterTheBound) {
  sim::HostOptions options;
  options.jobDurationMs = 10 * 3600 * 1000;
  options.waitLimitMs = 60000;
  auto host = NewHost(options);
  const auto machine = host.AddMachine({.name = L"web"});
  auto management = Own(Own(host.CreateQuorvane())->CreateMachineManagement(false));
  EXPECT_EQ(Raised([&] { management->Start(machine.c_str()); }).GetErrorCode(), 0x80041069u);
  EXPECT_LE(host.ClockMs(), 61000u);
  EXPECT_EQ(management->GetEnabledState(machine.c_str()), 10u);  // still starting
}

// A host removes a finished job some minutes after it ends; a caller that polls too late (its
// thread held up) finds it gone and cannot know how the change ended.
TEST_F(ManagementTest, AJobThatVanishesWhileAwaitedLeavesTheOutcomeUnknown) {
  host_.FailNthOperation(L"GetObject", L"Msvm_ConcreteJob", 2, 0x80041002);
  const auto vanished = Raised([&] { management_->Start(off_.c_str()); });
  EXPECT_EQ(vanished.GetErrorCode(), 0x80041002u);
  const std::wstring message = vanished.GetMessageDescription();
  EXPECT_EQ(message.rfind(L"The host removed the job before its end was read; the outcome of the "
                          L"operation is unknown: \\\\",
                          0),
            0u)
      << "message: " << std::string(message.begin(), message.end());
  EXPECT_NE(message.find(L"Msvm_ConcreteJob.InstanceID="), std::wstring::npos);
  const auto fetches = CallsOf(host_, L"GetObject");
  EXPECT_EQ(std::count_if(fetches.begin(), fetches.end(),
                          [](const sim::Call& call) {
                            return call.target.find(L"Msvm_ConcreteJob") != std::wstring::npos;
                          }),
            2)
      << "no fetch after the job was gone";
}

TEST_F(ManagementTest, DeleteMachine) {
  EXPECT_EQ(Raised([&] { management_->DeleteMachine(running_.c_str()); }).GetErrorCode(), 32775u);
  management_->DeleteMachine(off_.c_str());
  const auto calls = StateRequests();
  EXPECT_EQ(calls.back().method, L"DestroySystem");
  EXPECT_EQ(calls.back().Input(L"AffectedSystem"),
            L"\\\\HV-HOST01\\root\\virtualization\\v2:Msvm_ComputerSystem.CreationClassName="
            L"\"Msvm_ComputerSystem\",Name=\"" +
                off_ + L"\"");
  EXPECT_THROW(management_->GetEnabledState(off_.c_str()), VmNotFoundException);
  auto machines = Own(root_->CreateMachineEnumerator());
  ASSERT_TRUE(machines->Next());
  EXPECT_STREQ(machines->GetName(), L"running");
  EXPECT_FALSE(machines->Next());
}

TEST_F(ManagementTest, CapabilitiesWithoutLimitsSendNoLimitQueries) {
  EXPECT_STREQ(management_->GetDefaultExternalDataRoot(),
               L"C:\\ProgramData\\Microsoft\\Windows\\Hyper-V");
  EXPECT_STREQ(management_->GetDefaultVirtualHardDiskPath(),
               L"C:\\ProgramData\\Microsoft\\Windows\\Virtual Hard Disks");
  EXPECT_EQ(management_->GetMinimumProcessorCount(), 1u);
  EXPECT_EQ(management_->GetMaximumProcessorCount(), 4u);
  EXPECT_EQ(management_->GetMinimumMemory(), 32u);
  EXPECT_EQ(management_->GetMaximumMemory(), 1048576u);
  EXPECT_EQ(management_->GetMemoryIncrement(), 2u);

  host_.ClearCallLog();
  Own(root_->CreateMachineManagement(false));
  for (const auto& call : CallsOf(host_, L"ExecQuery")) {
    EXPECT_EQ(call.target.find(L"Caption"), std::wstring::npos) << call.target;
  }
}

TEST_F(ManagementTest, CapabilitiesWithLimits) {
  auto limited = Own(root_->CreateMachineManagement(true));
  EXPECT_EQ(limited->GetMinimumProcessorCount(), 1u);
  EXPECT_EQ(limited->GetMaximumProcessorCount(), 64u);  // 240 and 64 per NUMA node, limit 100000
  EXPECT_EQ(limited->GetMinimumMemory(), 32u);
  EXPECT_EQ(limited->GetMaximumMemory(), 262144u);
  EXPECT_EQ(limited->GetMemoryIncrement(), 2u);
  const auto queries = CallsOf(host_, L"ExecQuery");
  EXPECT_EQ(
      queries[1].target,
      L"Select * from Msvm_ProcessorSettingData where Caption=\"Processor Minimum Settings\"");

  const std::wstring pool = L"Microsoft:Definition\\\\B637F347-6A0E-4DEC-AF52-BD70CB80A21D";
  host_.SetProperty(L"Msvm_ProcessorSettingData.InstanceID=\"" + pool + L"\\\\Minimum\"",
                    L"VirtualQuantity", L"0");
  host_.SetProperty(L"Msvm_ProcessorSettingData.InstanceID=\"" + pool + L"\\\\Default\"", L"Limit",
                    L"16");
  auto changed = Own(root_->CreateMachineManagement(true));
  EXPECT_EQ(changed->GetMinimumProcessorCount(), 1u);  // 0 keeps the built-in minimum
  EXPECT_EQ(changed->GetMaximumProcessorCount(), 16u);

  // Limits compare as unsigned numbers: a negative text reads as a huge one and bounds nothing.
  host_.SetUncheckedNumberText(L"Msvm_ProcessorSettingData.InstanceID=\"" + pool + L"\\\\Maximum\"",
                               L"MaxProcessorsPerNumaNode", L"-1");
  host_.SetProperty(L"Msvm_ProcessorSettingData.InstanceID=\"" + pool + L"\\\\Default\"", L"Limit",
                    L"100000");
  EXPECT_EQ(Own(root_->CreateMachineManagement(true))->GetMaximumProcessorCount(), 240u);

  host_.SetProperty(
      L"Msvm_MemorySettingData.InstanceID=\"Microsoft:Definition\\\\4764334E-E001-4176-82EE-"
      L"5594EC9B530E\\\\Increment\"",
      L"VirtualQuantity", L"128");
  EXPECT_EQ(Own(root_->CreateMachineManagement(true))->GetMemoryIncrement(), 128u);

  auto bare = NewHost(Bare());
  auto plain = Own(Own(bare.CreateQuorvane())->CreateMachineManagement(true));
  EXPECT_EQ(plain->GetMaximumProcessorCount(), 4u);
  EXPECT_EQ(plain->GetMaximumMemory(), 1048576u);
  EXPECT_EQ(plain->GetMemoryIncrement(), 2u);
}

}  // namespace
}  // namespace quorvane::testing
