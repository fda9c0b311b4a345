// Disk merges after a checkpoint is removed: they take the host's merge duration, wait for the
// machine's merge settings, and hold back what the host refuses while they run.
#include "public_fixture.h"

namespace quorvane::testing {
namespace {

constexpr wchar_t kDisk[] = L"D:\\VMs\\web.vhdx";
constexpr std::uint32_t kMergeMs = 15000;

class DiskMergeTest : public ::testing::Test {
 protected:
  explicit DiskMergeTest(sim::HostOptions options = {}) : host_(NewHost(options)) {
    machine_ = host_.AddMachine({.name = L"web", .enabledState = 2});
    host_.AddDiskFile(kDisk, 1ull << 30);
    host_.AttachDisk(machine_, kDisk);
    root_ = Own(host_.CreateQuorvane());
    snapshots_ = Own(root_->CreateSnapshotManagement(machine_.c_str()));
  }

  std::wstring DiskPath() {
    auto management = Own(root_->CreateMachineManagement(false));
    auto disks =
        Own(Own(management->GetMachineInfo(machine_.c_str()))->CreateDiskEnumerator(false));
    EXPECT_TRUE(disks->Next());
    return disks->GetPath();
  }

  std::uint32_t Status() {
    return Own(root_->CreateMachineManagement(false))->GetOperationalStatus(machine_.c_str());
  }

  std::wstring TakeCheckpoint() {
    snapshots_->CreateStandardSnapshot();
    return snapshots_->GetLastSnapshotId();
  }

  std::size_t Conversions() {
    std::size_t count = 0;
    for (const auto& call : CallsOf(host_, L"ExecMethod")) {
      count += call.method == L"ConvertToReferencePoint" ? 1 : 0;
    }
    return count;
  }

  sim::SimulatedHost host_;
  std::wstring machine_;
  Owned<IQuorvane> root_;
  Owned<ISnapshotManagement> snapshots_;
};

// A host saved in the middle of a merge goes on merging once loaded, and the merge ends at its
// time: nothing is left merging for ever.
TEST_F(DiskMergeTest, ASavedHostGoesOnMergingWhereItStopped) {
  const auto checkpoint = TakeCheckpoint();
  snapshots_->DestroySnapshot(checkpoint.c_str(), false);
  host_.AdvanceClock(kMergeMs / 3);
  host_ = sim::SimulatedHost::FromJson(host_.ToJson());
  TrackHost(host_);
  root_ = Own(host_.CreateQuorvane());
  snapshots_ = Own(root_->CreateSnapshotManagement(machine_.c_str()));
  EXPECT_EQ(Status(), 32772u);
  host_.AdvanceClock(kMergeMs - kMergeMs / 3 - 1);
  EXPECT_EQ(Status(), 32772u) << "not before its time";
  host_.AdvanceClock(1);
  EXPECT_EQ(Status(), 2u);
  EXPECT_EQ(DiskPath(), kDisk);
  EXPECT_FALSE(TakeCheckpoint().empty()) << "checkpoints are taken again";
}

TEST_F(DiskMergeTest, FilesMergeWhenTheMergeIsOver) {
  const auto checkpoint = TakeCheckpoint();
  EXPECT_NE(DiskPath().find(L".avhdx"), std::wstring::npos);
  snapshots_->DestroySnapshot(checkpoint.c_str(), false);
  EXPECT_NE(DiskPath().find(L".avhdx"), std::wstring::npos) << "still merging";
  EXPECT_EQ(Status(), 32772u);
  host_.AdvanceClock(kMergeMs);
  EXPECT_EQ(DiskPath(), kDisk);
  EXPECT_EQ(Status(), 2u);
}

TEST_F(DiskMergeTest, MergeSettingsOffHoldMergesBackUntilTheBackupTurnsThemOn) {
  host_.SetProperty(L"Msvm_DiskMergeSettingData.InstanceID=\"Microsoft:" + machine_ +
                        L"\\\\DiskMergeSettingData\"",
                    L"EnabledState", L"0");
  snapshots_->DestroySnapshot(TakeCheckpoint().c_str(), false);
  host_.AdvanceClock(4 * kMergeMs);
  EXPECT_NE(DiskPath().find(L".avhdx"), std::wstring::npos);
  EXPECT_EQ(Status(), 2u) << "nothing merges";

  snapshots_->CreateRecoverySnapshot(true, nullptr);
  auto changes = Own(snapshots_->GetChangeEnumerator(snapshots_->GetLastSnapshotId()));
  EXPECT_TRUE(changes->Next());
  EXPECT_EQ(DiskPath(), kDisk) << "the backup turned merging on, and waited for it";
}

TEST_F(DiskMergeTest, CheckpointOperationsAreRefusedWhileTheMachineMerges) {
  const auto first = TakeCheckpoint();
  snapshots_->CreateRecoverySnapshot(true, nullptr);
  const std::wstring recovery = snapshots_->GetLastSnapshotId();
  snapshots_->DestroySnapshot(first.c_str(), false);
  EXPECT_EQ(Raised([&] { snapshots_->CreateStandardSnapshot(); }).GetErrorCode(), 32775u);

  host_.ClearCallLog();
  auto changes = Own(snapshots_->GetChangeEnumerator(recovery.c_str()));
  EXPECT_TRUE(changes->Next());
  EXPECT_EQ(Conversions(), 3u) << "refused at 0 s and 10 s, merged at 15 s";
}

class LeftoverReferencePointTest : public DiskMergeTest {
 protected:
  LeftoverReferencePointTest() : DiskMergeTest(Options()) {}
  static sim::HostOptions Options() {
    sim::HostOptions options;
    options.refuseMergeWithReferencePoint = true;
    return options;
  }
};

TEST_F(LeftoverReferencePointTest, ABackupThatLeavesOneBehindBreaksTheNext) {
  snapshots_->CreateRecoverySnapshot(true, nullptr);
  EXPECT_TRUE(Own(snapshots_->GetChangeEnumerator(snapshots_->GetLastSnapshotId()))->Next());
  snapshots_->CreateRecoverySnapshot(true, nullptr);
  EXPECT_TRUE(Own(snapshots_->GetChangeEnumerator(snapshots_->GetLastSnapshotId()))->Next())
      << "the library destroys its reference point";

  host_.AdvanceClock(kMergeMs);
  host_.FailMethodCalls(L"Msvm_VirtualSystemReferencePointService", L"DestroyReferencePoint",
                        32768);
  snapshots_->CreateRecoverySnapshot(true, nullptr);
  EXPECT_EQ(Raised([&] {
              snapshots_->GetChangeEnumerator(snapshots_->GetLastSnapshotId());
            }).GetErrorCode(),
            32768u);
  snapshots_->CreateRecoverySnapshot(true, nullptr);
  EXPECT_EQ(Raised([&] {
              snapshots_->GetChangeEnumerator(snapshots_->GetLastSnapshotId());
            }).GetErrorCode(),
            32768u);
}

// A merge longer than the library waits for: twelve pauses of 10 s, then the disks are read.
class LongMergeTest : public DiskMergeTest {
 protected:
  LongMergeTest() : DiskMergeTest(Options()) {}

  static sim::HostOptions Options() {
    sim::HostOptions options;
    options.mergeDurationMs = 30 * 60 * 1000;
    return options;
  }
};

TEST_F(LongMergeTest, TheMergeWaitPausesTwelveTimesAndGoesOn) {
  snapshots_->CreateRecoverySnapshot(true, nullptr);
  const std::wstring checkpoint = snapshots_->GetLastSnapshotId();
  host_.ClearCallLog();
  auto changes = Own(snapshots_->GetChangeEnumerator(checkpoint.c_str()));
  std::vector<std::wstring> pauses;
  for (const auto& wait : CallsOf(host_, L"Wait")) {
    if (wait.Input(L"Milliseconds") != L"100") {
      pauses.push_back(wait.Input(L"Milliseconds"));
    }
  }
  EXPECT_EQ(pauses, std::vector<std::wstring>(12, L"10000"));
  EXPECT_EQ(Status(), 32772u) << "still merging";
  EXPECT_TRUE(changes->Next());
}

}  // namespace
}  // namespace quorvane::testing
