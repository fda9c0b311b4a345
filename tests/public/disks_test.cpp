#include "public_fixture.h"

namespace quorvane::testing {
namespace {

using sim::SimulatedHost;

constexpr std::uint64_t kGiB = 1ull << 30;

class DisksTest : public ::testing::Test {
 protected:
  DisksTest() : host_(NewHost()) { root_ = Own(host_.CreateQuorvane()); }

  Owned<IDiskEnumerator> Disks(const std::wstring& machine, bool includeDvd) {
    auto management = Own(root_->CreateMachineManagement(false));
    return Own(Own(management->GetMachineInfo(machine.c_str()))->CreateDiskEnumerator(includeDvd));
  }

  SimulatedHost host_;
  Owned<IQuorvane> root_;
};

TEST_F(DisksTest, ChainsPlacesAndMedia) {
  const auto machine = host_.AddMachine({.name = L"old", .generation2 = false});
  const auto baseId = host_.AddDiskFile(L"E:\\base.vhd", 20 * kGiB);
  host_.AddDiskFile(L"E:\\middle.avhdx", 20 * kGiB, L"E:\\base.vhd");
  const auto leafId = host_.AddDiskFile(L"E:\\leaf.avhdx", 20 * kGiB, L"E:\\middle.avhdx");
  const auto soloId = host_.AddDiskFile(L"E:\\solo.vhdx", 2 * kGiB);
  host_.AttachDisk(machine, L"E:\\leaf.avhdx");  // IDE 0/0
  host_.AttachDisk(machine, L"E:\\solo.vhdx");   // IDE 0/1
  host_.AttachDvd(machine, L"E:\\setup.iso");    // IDE 1/0

  auto disks = Disks(machine, true);
  EXPECT_EQ(disks->GetDiskId(), nullptr);
  EXPECT_EQ(disks->GetControllerAddress(), 0u);  // 0 off the list, like every number
  ASSERT_TRUE(disks->Next());
  EXPECT_EQ(disks->GetDiskId(), leafId);
  // As real hosts give it: a bare GUID, 36 characters, no braces.
  EXPECT_EQ(leafId.size(), 36u);
  EXPECT_EQ(leafId.find_first_of(L"{}"), std::wstring::npos);
  EXPECT_STREQ(disks->GetPath(), L"E:\\leaf.avhdx");
  EXPECT_EQ(disks->GetBaseDiskId(), baseId);
  EXPECT_STREQ(disks->GetBasePath(), L"E:\\base.vhd");
  EXPECT_EQ(disks->GetMaxInternalSize(), static_cast<std::int64_t>(20 * kGiB));
  EXPECT_EQ(disks->GetFormat(), 1u);  // VHDX
  EXPECT_FALSE(disks->IsOnScsi());
  EXPECT_EQ(disks->GetControllerAddress(), 0u);
  EXPECT_EQ(disks->GetLocation(), 0u);
  ASSERT_TRUE(disks->Next());
  EXPECT_EQ(disks->GetBaseDiskId(), soloId);
  EXPECT_STREQ(disks->GetBasePath(), L"E:\\solo.vhdx");
  EXPECT_EQ(disks->GetLocation(), 1u);
  ASSERT_TRUE(disks->Next());
  EXPECT_EQ(disks->IsDvd(), 1u);
  EXPECT_STREQ(disks->GetDiskId(), L"");
  EXPECT_STREQ(disks->GetPath(), L"E:\\setup.iso");
  EXPECT_EQ(disks->GetMaxInternalSize(), 0);
  EXPECT_EQ(disks->GetControllerAddress(), 1u);
  EXPECT_FALSE(disks->Next());

  auto withoutDvd = Disks(machine, false);
  int count = 0;
  while (withoutDvd->Next()) {
    ++count;
  }
  EXPECT_EQ(count, 2);
  withoutDvd->Reset();  // the list is replaced, not appended to
  count = 0;
  while (withoutDvd->Next()) {
    ++count;
  }
  EXPECT_EQ(count, 2);
}

TEST_F(DisksTest, ScsiPlacementAndVhdFormat) {
  const auto machine = host_.AddMachine({.name = L"new"});
  host_.AddDiskFile(L"E:\\a.vhd", kGiB);
  host_.AttachDisk(machine, L"E:\\a.vhd");
  auto disks = Disks(machine, false);
  ASSERT_TRUE(disks->Next());
  EXPECT_TRUE(disks->IsOnScsi());
  EXPECT_EQ(disks->GetControllerAddress(), 0xFFFFFFFFu);
  EXPECT_EQ(disks->GetFormat(), 0u);  // VHD

  const auto shared = host_.AddMachine({.name = L"cluster-node"});
  host_.AddDiskFile(L"E:\\quorum.vhds", kGiB);
  host_.AttachDisk(shared, L"E:\\quorum.vhds");
  auto sets = Disks(shared, false);
  ASSERT_TRUE(sets->Next());
  EXPECT_EQ(sets->GetFormat(), 2u);  // VHD Set

  EXPECT_FALSE(Disks(host_.AddMachine({.name = L"empty"}), true)->Next());
}

TEST_F(DisksTest, MissingDiskFileEndsTheListing) {
  const auto machine = host_.AddMachine({.name = L"broken"});
  host_.AddDiskFile(L"E:\\gone.vhdx", kGiB);
  host_.AttachDisk(machine, L"E:\\gone.vhdx");
  host_.FailMethodCalls(L"Msvm_ImageManagementService", L"GetVirtualHardDiskSettingData", 32779);
  const auto e = Raised([&] { Disks(machine, false); });
  EXPECT_EQ(e.GetErrorCode(), 32779u);

  host_.RemoveObject(
      L"Msvm_ImageManagementService.CreationClassName=\"Msvm_ImageManagementService\",Name="
      L"\"vhdsvc\",SystemCreationClassName=\"Msvm_ComputerSystem\",SystemName=\"HV-HOST01\"");
  try {
    Disks(machine, false);
    ADD_FAILURE() << "a host without its image management service listed disks";
  } catch (const ObjectNotFoundException& missing) {
    EXPECT_EQ(missing.GetErrorCode(), 0xFFFFFFFFu);
    EXPECT_STREQ(missing.GetMessageDescription(),
                 L"Cannot found instance for: Msvm_ImageManagementService");
  }
}

// A SCSI controller has 64 slots; the 65th disk goes on a second controller.
TEST_F(DisksTest, MoreThan64DisksGetAnotherController) {
  const auto machine = host_.AddMachine({.name = L"many"});
  for (int i = 0; i < 70; ++i) {
    const std::wstring disk = L"E:\\many-" + std::to_wstring(i) + L".vhdx";
    host_.AddDiskFile(disk, kGiB);
    host_.AttachDisk(machine, disk);
  }
  auto disks = Disks(machine, false);
  int count = 0;
  while (disks->Next()) {
    ++count;
  }
  EXPECT_EQ(count, 70);
}

class DiskChangesTest : public DisksTest {
 protected:
  DiskChangesTest() {
    sim::HostOptions options;
    options.changeRangesPerPass = 2;
    host_ = NewHost(options);
    root_ = Own(host_.CreateQuorvane());
    machine_ = host_.AddMachine({.name = L"web", .enabledState = 2});
    host_.AddDiskFile(kDisk, 10 * kGiB);
    host_.AttachDisk(machine_, kDisk);
    auto snapshots = Own(root_->CreateSnapshotManagement(machine_.c_str()));
    snapshots->CreateRecoverySnapshot(true, nullptr);
    auto changes = Own(snapshots->GetChangeEnumerator(snapshots->GetLastSnapshotId()));
    EXPECT_TRUE(changes->Next());
    trackingId_ = changes->GetChangeTrackingId();
  }

  std::vector<std::uint64_t> Offsets(IDiskChangeEnumerator& ranges) {
    std::vector<std::uint64_t> offsets;
    while (ranges.Next()) {
      offsets.push_back(ranges.GetOffset());
    }
    return offsets;
  }

  std::size_t ChangeCalls() {
    std::size_t calls = 0;
    for (const auto& call : CallsOf(host_, L"ExecMethod")) {
      calls += call.method == L"GetVirtualDiskChanges" ? 1 : 0;
    }
    return calls;
  }

  static constexpr wchar_t kDisk[] = L"D:\\web.vhdx";
  std::wstring machine_;
  std::wstring trackingId_;
};

TEST_F(DiskChangesTest, FollowsProcessedByteLengthOverSeveralPasses) {
  for (std::uint64_t i = 0; i < 5; ++i) {
    host_.WriteToDisk(kDisk, i * kGiB, 4096);
  }
  host_.ClearCallLog();
  auto disks = Disks(machine_, false);
  ASSERT_TRUE(disks->Next());
  auto ranges = Own(disks->GetDiskChangeEnumerator(trackingId_.c_str()));
  EXPECT_EQ(ranges->GetOffset(), 0u);
  EXPECT_EQ(ranges->GetLength(), 0u);
  EXPECT_EQ(Offsets(*ranges), (std::vector<std::uint64_t>{0, kGiB, 2 * kGiB, 3 * kGiB, 4 * kGiB}));
  EXPECT_EQ(ChangeCalls(), 3u);  // two ranges a pass
  const auto calls = CallsOf(host_, L"ExecMethod");
  EXPECT_EQ(calls[calls.size() - 2].Input(L"ByteOffset"), std::to_wstring(kGiB + 4096));

  host_.WriteToDisk(kDisk, 9 * kGiB, 4096);
  ranges->Reset();  // asks again
  EXPECT_EQ(Offsets(*ranges).size(), 6u);

  ranges->Reset();
  ASSERT_TRUE(ranges->Next());
  ASSERT_TRUE(ranges->Next());
  host_.ExpireChangeTracking(kDisk);
  const auto e = Raised([&] { ranges->Reset(); });
  EXPECT_EQ(e.GetErrorCode(), 32768u);
  EXPECT_TRUE(IsChangeTrackingUnusable(e)) << "an expired identifier means a full copy";
  EXPECT_EQ(ranges->GetOffset(), kGiB) << "a failed Reset keeps the ranges it had";
  EXPECT_EQ(Offsets(*ranges).size(), 4u);
}

TEST_F(DiskChangesTest, UnknownIdentifiersAndEmptyDisks) {
  auto disks = Disks(machine_, false);
  ASSERT_TRUE(disks->Next());
  const auto malformed = Raised([&] { disks->GetDiskChangeEnumerator(L"rctX:nonsense"); });
  EXPECT_EQ(malformed.GetErrorCode(), 32768u);
  EXPECT_TRUE(IsChangeTrackingUnusable(malformed));
  EXPECT_TRUE(::IsChangeTrackingUnusable(&malformed));
  EXPECT_FALSE(::IsChangeTrackingUnusable(nullptr));
  // Other failures of the same call are not about the identifier.
  host_.FailMethodCalls(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", 32768);
  EXPECT_FALSE(IsChangeTrackingUnusable(
      Raised([&] { disks->GetDiskChangeEnumerator(trackingId_.c_str()); })));
  EXPECT_STREQ(Raised([&] { disks->GetDiskChangeEnumerator(nullptr); }).GetMessageDescription(),
               L"Change tracking id must not be null");
  EXPECT_TRUE(Offsets(*Own(disks->GetDiskChangeEnumerator(trackingId_.c_str()))).empty());

  const auto empty = host_.AddMachine({.name = L"empty"});
  host_.AddDiskFile(L"D:\\zero.vhdx", 0);
  host_.AttachDisk(empty, L"D:\\zero.vhdx");
  auto zero = Disks(empty, false);
  ASSERT_TRUE(zero->Next());
  host_.ClearCallLog();
  EXPECT_FALSE(Own(zero->GetDiskChangeEnumerator(trackingId_.c_str()))->Next());
  EXPECT_EQ(ChangeCalls(), 0u);
}

// Change tracking is kept per file: while a checkpoint holds the disk, the machine runs on a
// differencing file that does not know the identifiers of the file below it.
TEST_F(DiskChangesTest, ADifferencingFileRefusesItsParentsIdentifier) {
  auto snapshots = Own(root_->CreateSnapshotManagement(machine_.c_str()));
  snapshots->CreateStandardSnapshot();
  auto disks = Disks(machine_, false);
  ASSERT_TRUE(disks->Next());
  EXPECT_NE(std::wstring(disks->GetPath()).find(L".avhdx"), std::wstring::npos);
  EXPECT_EQ(Raised([&] { disks->GetDiskChangeEnumerator(trackingId_.c_str()); }).GetErrorCode(),
            32768u);
}

TEST_F(DiskChangesTest, CheckpointOperations) {
  auto snapshots = Own(root_->CreateSnapshotManagement(machine_.c_str()));
  EXPECT_STREQ(Own(root_->CreateSnapshotManagement(machine_.c_str()))->GetLastSnapshotId(), L"");
  snapshots->CreateStandardSnapshot();
  const std::wstring first = snapshots->GetLastSnapshotId();
  const auto standard = CallsOf(host_, L"ExecMethod").back();
  EXPECT_EQ(standard.Input(L"SnapshotType"), L"2");
  EXPECT_EQ(standard.Input(L"SnapshotSettings"), L"");
  snapshots->CreateStandardSnapshot();
  const std::wstring second = snapshots->GetLastSnapshotId();

  host_.ClearCallLog();
  snapshots->RenameSnapshot(first.c_str(), L"before patch");
  const auto operations = Operations(host_);
  const auto put = std::find(operations.begin(), operations.end(), L"PutInstance");
  const auto modify =
      std::find(operations.begin(), operations.end(), L"ExecMethod ModifySystemSettings");
  EXPECT_LT(put, modify) << "written back, then handed to ModifySystemSettings";
  EXPECT_NE(modify, operations.end());
  EXPECT_STREQ(Own(snapshots->GetSnapshotInfo(first.c_str()))->GetName(), L"before patch");

  EXPECT_EQ(Raised([&] { snapshots->ApplySnapshot(first.c_str()); }).GetErrorCode(), 32768u)
      << "a running machine refuses through its job";
  auto management = Own(root_->CreateMachineManagement(false));
  management->PowerOff(machine_.c_str());
  snapshots->ApplySnapshot(first.c_str());
  EXPECT_EQ(Own(management->GetMachineInfo(machine_.c_str()))->GetParentId(), first);

  snapshots->DestroySnapshot(first.c_str(), true);  // takes the second with it
  EXPECT_FALSE(Own(snapshots->EnumerateSnapshots())->Next());
  EXPECT_THROW(snapshots->GetSnapshotInfo(second.c_str()), VmNotFoundException);
  EXPECT_STREQ(Own(management->GetMachineInfo(machine_.c_str()))->GetParentId(), L"");
}

}  // namespace
}  // namespace quorvane::testing
