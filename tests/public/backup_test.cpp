// The road a backup application takes, and the rules around it, on the simulated host.
#include <algorithm>
#include <cwctype>
#include <map>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

using sim::SimulatedHost;

constexpr std::uint64_t kGiB = 1ull << 30;
constexpr wchar_t kSnapshotService[] = L"Msvm_VirtualSystemSnapshotService";

struct Range {
  std::uint64_t offset;
  std::uint64_t length;
  bool operator==(const Range&) const = default;
};

class BackupTest : public ::testing::Test {
 protected:
  BackupTest() : host_(NewHost()) {
    machine_ = host_.AddMachine({.name = L"web", .enabledState = 2});
    systemDisk_ = L"D:\\VMs\\web.vhdx";
    dataDisk_ = L"D:\\VMs\\web-data.vhdx";
    systemDiskId_ = host_.AddDiskFile(systemDisk_, 40 * kGiB);
    dataDiskId_ = host_.AddDiskFile(dataDisk_, 100 * kGiB);
    host_.AttachDisk(machine_, systemDisk_);
    host_.AttachDisk(machine_, dataDisk_);
    root_ = Own(host_.CreateQuorvane());
    snapshots_ = Own(root_->CreateSnapshotManagement(machine_.c_str()));
  }

  // Disk identifier -> change tracking identifier, from a fresh recovery checkpoint.
  std::map<std::wstring, std::wstring> TakeChangeTrackingIds() {
    snapshots_->CreateRecoverySnapshot(true, nullptr);
    auto changes = Own(snapshots_->GetChangeEnumerator(snapshots_->GetLastSnapshotId()));
    std::map<std::wstring, std::wstring> ids;
    while (changes->Next()) {
      ids[changes->GetDiskId()] = changes->GetChangeTrackingId();
    }
    return ids;
  }

  // Disk path -> ranges changed since the kept identifiers, walking the machine's disks.
  std::map<std::wstring, std::vector<Range>> ChangedRanges(
      const std::map<std::wstring, std::wstring>& kept) {
    auto management = Own(root_->CreateMachineManagement(false));
    auto info = Own(management->GetMachineInfo(machine_.c_str()));
    auto disks = Own(info->CreateDiskEnumerator(false));
    std::map<std::wstring, std::vector<Range>> changed;
    while (disks->Next()) {
      auto ranges = Own(disks->GetDiskChangeEnumerator(kept.at(disks->GetDiskId()).c_str()));
      auto& list = changed[disks->GetPath()];
      while (ranges->Next()) {
        list.push_back({ranges->GetOffset(), ranges->GetLength()});
      }
    }
    return changed;
  }

  std::size_t Count(const std::wstring& operation, const std::wstring& method = L"") {
    std::size_t count = 0;
    for (const auto& call : host_.CallLog()) {
      count += call.operation == operation && (method.empty() || call.method == method) ? 1 : 0;
    }
    return count;
  }

  std::vector<std::wstring> Waits() {
    std::vector<std::wstring> waits;
    for (const auto& call : CallsOf(host_, L"Wait")) {
      if (call.Input(L"Milliseconds") != L"100") {
        waits.push_back(call.Input(L"Milliseconds"));
      }
    }
    return waits;
  }

  SimulatedHost host_;
  std::wstring machine_;
  std::wstring systemDisk_;
  std::wstring dataDisk_;
  std::wstring systemDiskId_;
  std::wstring dataDiskId_;
  Owned<IQuorvane> root_;
  Owned<ISnapshotManagement> snapshots_;
};

TEST_F(BackupTest, TheBackupRoadEndToEnd) {
  bool failed = false;
  EXPECT_EQ(snapshots_->CreateRecoverySnapshot(true, &failed), 1);  // running: app-consistent
  EXPECT_FALSE(failed);
  const std::wstring checkpoint = snapshots_->GetLastSnapshotId();
  EXPECT_TRUE(snapshots_->IsRecoverySnapshot(checkpoint.c_str()));
  EXPECT_EQ(std::wstring(Own(snapshots_->GetSnapshotInfo(checkpoint.c_str()))->GetName())
                .rfind(L"[HVRC] web - (", 0),
            0u);

  // While the checkpoint exists the machine writes to differencing files.
  host_.WriteToDisk(systemDisk_, 0, 4096);

  auto changes = Own(snapshots_->GetChangeEnumerator(checkpoint.c_str()));
  std::map<std::wstring, std::wstring> kept;
  while (changes->Next()) {
    kept[changes->GetDiskId()] = changes->GetChangeTrackingId();
  }
  ASSERT_EQ(kept.size(), 2u);
  EXPECT_EQ(kept.count(systemDiskId_), 1u);
  EXPECT_EQ(kept.count(dataDiskId_), 1u);
  EXPECT_EQ(kept[systemDiskId_].rfind(L"rctX:", 0), 0u);
  EXPECT_FALSE(Own(snapshots_->EnumerateSnapshots())->Next()) << "the checkpoint is gone";
  EXPECT_EQ(Count(L"ExecMethod", L"ConvertToReferencePoint"), 1u);
  EXPECT_EQ(Count(L"ExecMethod", L"DestroyReferencePoint"), 1u);
  changes->Reset();  // only rewinds: no WMI traffic
  const auto calls = host_.CallLog().size();
  EXPECT_TRUE(changes->Next());
  EXPECT_EQ(host_.CallLog().size(), calls);

  host_.WriteToDisk(systemDisk_, 10 * 4096, 2 * 4096);
  host_.WriteToDisk(dataDisk_, 5 * kGiB, 4096);
  host_.WriteToDisk(dataDisk_, 5 * kGiB + 4096, 4096);  // adjacent: one range
  const auto changed = ChangedRanges(kept);
  EXPECT_EQ(changed.at(systemDisk_), (std::vector<Range>{{0, 4096}, {10 * 4096, 2 * 4096}}));
  EXPECT_EQ(changed.at(dataDisk_), (std::vector<Range>{{5 * kGiB, 8192}}));

  // 64-bit inputs travel as unsigned decimal text.
  const auto requests = CallsOf(host_, L"ExecMethod");
  const auto last = std::find_if(requests.rbegin(), requests.rend(), [](const sim::Call& c) {
    return c.method == L"GetVirtualDiskChanges";
  });
  ASSERT_NE(last, requests.rend());
  EXPECT_EQ(last->Input(L"ByteOffset"), L"0");
  EXPECT_EQ(last->Input(L"ByteLength"), L"107374182400");
}

TEST_F(BackupTest, ConversionRetriesOnTheSimulatedClock) {
  host_.FailMethodCalls(kSnapshotService, L"ConvertToReferencePoint", 32775, 2);
  const auto ids = TakeChangeTrackingIds();
  EXPECT_EQ(ids.size(), 2u);
  EXPECT_EQ(Count(L"ExecMethod", L"ConvertToReferencePoint"), 3u);
  // Two retry pauses, then the merge wait: the machine merges for 15 s after the conversion.
  EXPECT_EQ(Waits(), (std::vector<std::wstring>{L"10000", L"10000", L"10000", L"10000"}));
}

TEST_F(BackupTest, OtherRefusalsAndTheLastRefusalAreRaised) {
  host_.FailMethodCalls(kSnapshotService, L"ConvertToReferencePoint", 32774, 1);
  snapshots_->CreateRecoverySnapshot(true, nullptr);
  const std::wstring checkpoint = snapshots_->GetLastSnapshotId();
  EXPECT_EQ(Raised([&] { snapshots_->GetChangeEnumerator(checkpoint.c_str()); }).GetErrorCode(),
            32774u);
  EXPECT_TRUE(Waits().empty());
  EXPECT_TRUE(snapshots_->IsRecoverySnapshot(checkpoint.c_str())) << "the checkpoint stays";

  host_.ClearCallLog();
  host_.FailMethodCalls(kSnapshotService, L"ConvertToReferencePoint", 32775, 12);
  EXPECT_EQ(Raised([&] { snapshots_->GetChangeEnumerator(checkpoint.c_str()); }).GetErrorCode(),
            32775u);
  EXPECT_EQ(Count(L"ExecMethod", L"ConvertToReferencePoint"), 12u);
  EXPECT_EQ(Waits().size(), 12u) << "a pause after every refusal, the last one too";
}

// Only "ModifySystemSettings" renames: when it fails, the checkpoint keeps Hyper-V's name even
// though the new one was written back first, so it is no recovery checkpoint of the library.
TEST_F(BackupTest, AFailedRecoveryRenameLeavesNoRecoveryCheckpoint) {
  host_.FailJobs(L"Msvm_VirtualSystemManagementService", L"ModifySystemSettings", 32768,
                 L"Failed to modify the settings.");
  EXPECT_EQ(Raised([&] { snapshots_->CreateRecoverySnapshot(false, nullptr); }).GetErrorCode(),
            32768u);
  const std::wstring checkpoint = snapshots_->GetLastSnapshotId();
  EXPECT_FALSE(checkpoint.empty()) << "the new identifier is kept";
  EXPECT_EQ(Count(L"PutInstance"), 1u);
  EXPECT_FALSE(snapshots_->IsRecoverySnapshot(checkpoint.c_str()));
  const auto refused = Raised([&] { snapshots_->GetChangeEnumerator(checkpoint.c_str()); });
  EXPECT_TRUE(IsChangeTrackingUnusable(refused));
  EXPECT_EQ(refused.GetErrorCode(), 0xC03A002Au);
}

// A host whose provider refuses "PutInstance" outright stops the rename before it is asked.
TEST(RecoveryRenameTest, APutInstanceRefusalEndsTheRename) {
  sim::HostOptions options;
  options.refusePutInstance = true;
  auto host = NewHost(options);
  const auto machine = host.AddMachine({.name = L"web", .enabledState = 2});
  auto root = Own(host.CreateQuorvane());
  auto snapshots = Own(root->CreateSnapshotManagement(machine.c_str()));
  EXPECT_EQ(Raised([&] { snapshots->CreateRecoverySnapshot(false, nullptr); }).GetErrorCode(),
            0x80041024u);
  const std::wstring checkpoint = snapshots->GetLastSnapshotId();
  EXPECT_FALSE(snapshots->IsRecoverySnapshot(checkpoint.c_str()));
  for (const auto& call : host.CallLog()) {
    EXPECT_NE(call.method, L"ModifySystemSettings");
  }
}

// Hyper-V names a checkpoint after the machine and the host's local time, with month, day and
// hour unpadded.
TEST(CheckpointNameTest, UsesTheHostsLocalTime) {
  sim::HostOptions options;
  options.utcOffsetMinutes = -300;
  auto host = NewHost(options);
  constexpr std::uint64_t kMay30 = 149ull * 86400 * 1000;
  host.AdvanceClock(kMay30 + ((16 * 60 + 16) * 60 + 25) * 1000);
  const auto machine = host.AddMachine({.name = L"savdalsr02"});
  const auto checkpoint = host.AddSnapshot(machine);
  auto snapshots = Own(Own(host.CreateQuorvane())->CreateSnapshotManagement(machine.c_str()));
  EXPECT_STREQ(Own(snapshots->GetSnapshotInfo(checkpoint.c_str()))->GetName(),
               L"savdalsr02 - (5/30/2026 - 11:16:25 AM)");
}

TEST_F(BackupTest, PairingShiftsWhenADiskIsGone) {
  snapshots_->CreateRecoverySnapshot(true, nullptr);
  const std::wstring checkpoint = snapshots_->GetLastSnapshotId();
  host_.DetachDisk(machine_, systemDisk_);
  auto changes = Own(snapshots_->GetChangeEnumerator(checkpoint.c_str()));
  ASSERT_TRUE(changes->Next());
  EXPECT_EQ(changes->GetDiskId(), dataDiskId_);
  const std::wstring paired = changes->GetChangeTrackingId();
  EXPECT_FALSE(changes->Next());
  // The remaining disk got the first identifier, the system disk's, which its own disk refuses.
  auto management = Own(root_->CreateMachineManagement(false));
  auto disks = Own(Own(management->GetMachineInfo(machine_.c_str()))->CreateDiskEnumerator(false));
  ASSERT_TRUE(disks->Next());
  const auto refused = Raised([&] { disks->GetDiskChangeEnumerator(paired.c_str()); });
  EXPECT_EQ(refused.GetErrorCode(), 32768u);
  EXPECT_NE(std::wstring(refused.GetMessageDescription()).find(paired), std::wstring::npos);
}

// A checkpoint's configuration and guest state are its own files, in the machine's Snapshots
// folder, named by the checkpoint's id; the machine keeps its own.
TEST_F(BackupTest, ACheckpointHasFilesOfItsOwn) {
  snapshots_->CreateStandardSnapshot();
  const std::wstring checkpoint = snapshots_->GetLastSnapshotId();
  auto info = Own(snapshots_->GetSnapshotInfo(checkpoint.c_str()));
  auto machine = Own(Own(root_->CreateMachineManagement(false))->GetMachineInfo(machine_.c_str()));
  const std::wstring configuration = info->GetConfigurationFile();
  EXPECT_EQ(configuration, std::wstring(machine->GetSnapshotDataRoot()) + L"\\Snapshots\\" +
                               checkpoint + L".vmcx");
  EXPECT_EQ(std::wstring(info->GetGuestStateFile()), checkpoint + L".vmgs");
  EXPECT_NE(configuration, machine->GetConfigurationFile());
  EXPECT_NE(std::wstring(machine->GetGuestStateFile()), checkpoint + L".vmgs");
}

TEST_F(BackupTest, RecoveryTestNeedsTypeAndPrefix) {
  snapshots_->CreateRecoverySnapshot(false, nullptr);
  const std::wstring recovery = snapshots_->GetLastSnapshotId();
  snapshots_->RenameSnapshot(recovery.c_str(), L"renamed");
  EXPECT_FALSE(snapshots_->IsRecoverySnapshot(recovery.c_str()));
  const auto refused = Raised([&] { snapshots_->GetChangeEnumerator(recovery.c_str()); });
  EXPECT_EQ(refused.GetErrorCode(), 0xC03A002Au);
  EXPECT_STREQ(refused.GetMessageDescription(),
               L"There is no change tracking data available associated with the specified change "
               L"tracking identifier");

  snapshots_->RenameSnapshot(recovery.c_str(), L"Nightly [HVRC] 2026");
  EXPECT_FALSE(snapshots_->IsRecoverySnapshot(recovery.c_str())) << "the prefix starts the name";

  snapshots_->CreateStandardSnapshot();
  const std::wstring standard = snapshots_->GetLastSnapshotId();
  snapshots_->RenameSnapshot(standard.c_str(), L"[HVRC] pretending");
  EXPECT_FALSE(snapshots_->IsRecoverySnapshot(standard.c_str()));
  EXPECT_EQ(Raised([&] { snapshots_->GetChangeEnumerator(standard.c_str()); }).GetErrorCode(),
            0xC03A002Au);
}

// Hyper-V's identifiers compare without letter case: a machine named in lower case still owns
// its checkpoints.
TEST_F(BackupTest, AMachineIdInAnotherCaseOwnsItsCheckpoints) {
  snapshots_->CreateStandardSnapshot();
  const std::wstring checkpoint = snapshots_->GetLastSnapshotId();
  std::wstring lower = machine_;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
  ASSERT_NE(lower, machine_);
  auto snapshots = Own(root_->CreateSnapshotManagement(lower.c_str()));
  EXPECT_EQ(Own(snapshots->GetSnapshotInfo(checkpoint.c_str()))->GetId(), checkpoint);
  snapshots->DestroySnapshot(checkpoint.c_str(), false);
}

TEST_F(BackupTest, ConsistencyFallback) {
  host_.FailJobs(kSnapshotService, L"CreateSnapshot", 32768, L"The guest could not quiesce.");
  bool failed = false;
  EXPECT_EQ(snapshots_->CreateRecoverySnapshot(true, &failed), 2);
  EXPECT_TRUE(failed);
  const auto attempts = CallsOf(host_, L"ExecMethod");
  std::vector<std::wstring> levels;
  for (const auto& call : attempts) {
    if (call.method == L"CreateSnapshot") {
      const std::wstring settings = call.Input(L"SnapshotSettings");
      levels.push_back(settings.substr(settings.find(L"ConsistencyLevel"), 120));
    }
  }
  ASSERT_EQ(levels.size(), 2u);
  EXPECT_NE(levels[0].find(L"<VALUE>1</VALUE>"), std::wstring::npos);
  EXPECT_NE(levels[1].find(L"<VALUE>2</VALUE>"), std::wstring::npos);

  host_.FailJobs(kSnapshotService, L"CreateSnapshot", 32768, L"The guest could not quiesce.");
  failed = false;
  const auto e = Raised([&] { snapshots_->CreateRecoverySnapshot(false, &failed); });
  EXPECT_EQ(e.GetErrorCode(), 32768u);
  EXPECT_STREQ(e.GetMessageDescription(), L"The guest could not quiesce.");
  EXPECT_TRUE(failed);

  const auto off = host_.AddMachine({.name = L"off", .enabledState = 3});
  auto offSnapshots = Own(root_->CreateSnapshotManagement(off.c_str()));
  host_.FailJobs(kSnapshotService, L"CreateSnapshot", 32768, L"Failed.");
  failed = false;
  EXPECT_THROW(offSnapshots->CreateRecoverySnapshot(true, &failed), DefaultException);
  EXPECT_FALSE(failed);
}

}  // namespace
}  // namespace quorvane::testing
