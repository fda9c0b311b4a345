// The backup road under each reading of Hyper-V that no public recording settles. Each test
// names the reading it depends on; the default readings are the ones the backup road in
// backup_test.cpp runs on.
#include <map>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

constexpr std::uint64_t kGiB = 1ull << 30;
constexpr wchar_t kDisk[] = L"D:\\VMs\\web.vhdx";

class OpenReadingTest : public ::testing::Test {
 protected:
  void Start(const sim::HostOptions& options) {
    host_ = NewHost(options);
    machine_ = host_.AddMachine({.name = L"web", .enabledState = 2});
    diskId_ = host_.AddDiskFile(kDisk, 40 * kGiB);
    host_.AttachDisk(machine_, kDisk);
    root_ = Own(host_.CreateQuorvane());
    snapshots_ = Own(root_->CreateSnapshotManagement(machine_.c_str()));
  }

  // The first half of the road: disk identifier -> change tracking identifier.
  std::map<std::wstring, std::wstring> KeepIdentifiers() {
    snapshots_->CreateRecoverySnapshot(true, nullptr);
    auto changes = Own(snapshots_->GetChangeEnumerator(snapshots_->GetLastSnapshotId()));
    std::map<std::wstring, std::wstring> kept;
    while (changes->Next()) {
      kept[changes->GetDiskId()] = changes->GetChangeTrackingId();
    }
    return kept;
  }

  // The second half: the disk's ranges changed since the kept identifier.
  std::size_t ChangedRanges(const std::wstring& since) {
    auto management = Own(root_->CreateMachineManagement(false));
    auto disks =
        Own(Own(management->GetMachineInfo(machine_.c_str()))->CreateDiskEnumerator(false));
    EXPECT_TRUE(disks->Next());
    auto ranges = Own(disks->GetDiskChangeEnumerator(since.c_str()));
    std::size_t count = 0;
    while (ranges->Next()) {
      ++count;
    }
    return count;
  }

  std::size_t Calls(const std::wstring& method) {
    std::size_t count = 0;
    for (const auto& call : CallsOf(host_, L"ExecMethod")) {
      count += call.method == method ? 1 : 0;
    }
    return count;
  }

  sim::SimulatedHost host_ = sim::SimulatedHost::Create();
  std::wstring machine_;
  std::wstring diskId_;
  Owned<IQuorvane> root_;
  Owned<ISnapshotManagement> snapshots_;
};

// Reading: "VirtualDiskIdentifiers" hold each disk's "VirtualDiskId"; "ByteLength" may reach the
// disk's end.
TEST_F(OpenReadingTest, ReadingDiskIdsAndFullLengthFindsTheWrites) {
  Start({});
  const auto kept = KeepIdentifiers();
  ASSERT_EQ(kept.count(diskId_), 1u);
  host_.AdvanceClock(60000);
  host_.WriteToDisk(kDisk, kGiB, 4096);
  EXPECT_EQ(ChangedRanges(kept.at(diskId_)), 1u);
}

// Reading: "VirtualDiskIdentifiers" hold the disks' storage allocation InstanceIDs. The library
// pairs nothing: the enumerator is empty and no error is raised, so a backup application has no
// identifier to start the next incremental from and copies the disk in full.
TEST_F(OpenReadingTest, ReadingAllocationIdsPairsNothingSilently) {
  sim::HostOptions options;
  options.referencePointHoldsAllocationIds = true;
  Start(options);
  EXPECT_TRUE(KeepIdentifiers().empty());
  EXPECT_EQ(Calls(L"ConvertToReferencePoint"), 1u);
  EXPECT_EQ(Calls(L"DestroyReferencePoint"), 1u) << "the reference point is still cleaned up";
}

// Reading: "ByteLength" must be less than the disk's size. The library asks for the whole disk
// in its first pass, so every incremental fails with the host's 32773.
TEST_F(OpenReadingTest, ReadingFullLengthRefusedFailsEveryIncremental) {
  sim::HostOptions options;
  options.refuseFullLengthChanges = true;
  Start(options);
  const auto kept = KeepIdentifiers();
  ASSERT_EQ(kept.count(diskId_), 1u);
  host_.AdvanceClock(60000);
  host_.WriteToDisk(kDisk, kGiB, 4096);
  EXPECT_EQ(Raised([&] { ChangedRanges(kept.at(diskId_)); }).GetErrorCode(), 32773u);
  EXPECT_EQ(Calls(L"GetVirtualDiskChanges"), 1u);
}

}  // namespace
}  // namespace quorvane::testing
