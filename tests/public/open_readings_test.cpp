// The backup road under each reading of Hyper-V that no public recording settles, alone and
// together. Each test names the readings it depends on; whatever the host does, every guest
// write must come back as changed.
#include <map>
#include <string>

#include "public_fixture.h"

namespace quorvane::testing {
namespace {

constexpr std::uint64_t kGiB = 1ull << 30;
constexpr std::uint64_t kSystemSize = 40 * kGiB;
constexpr wchar_t kSystemDisk[] = L"D:\\VMs\\web.vhdx";
constexpr wchar_t kDataDisk[] = L"D:\\VMs\\web-data.vhdx";

// The host settings of each reading, as a scenario gives them.
constexpr char kAllocationIds[] = R"("referencePointHoldsAllocationIds": true)";
constexpr char kFullLengthRefused[] = R"("refuseFullLengthChanges": true)";
constexpr char kOutputsAfterJob[] = R"("changesOutputsAfterJob": true)";
constexpr char kThroughJobs[] = R"("synchronousMethods": [])";

struct Range {
  std::uint64_t offset;
  std::uint64_t length;
};

class OpenReadingTest : public ::testing::Test {
 protected:
  void Start(const std::vector<std::string>& settings) {
    std::string host;
    for (const auto& setting : settings) {
      host += (host.empty() ? "" : ", ") + setting;
    }
    host_ = sim::SimulatedHost::FromJson(
        R"({"format": "quorvane-simulated-host", "version": 1, "host": {)" + host + "}}");
    TrackHost(host_);
    machine_ = host_.AddMachine({.name = L"web", .enabledState = 2});
    systemDiskId_ = host_.AddDiskFile(kSystemDisk, kSystemSize);
    dataDiskId_ = host_.AddDiskFile(kDataDisk, 100 * kGiB);
    host_.AttachDisk(machine_, kSystemDisk);
    host_.AttachDisk(machine_, kDataDisk);
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

  // The second half: disk path -> the ranges changed since its kept identifier.
  std::map<std::wstring, std::vector<Range>> ChangedRanges(
      const std::map<std::wstring, std::wstring>& kept) {
    auto management = Own(root_->CreateMachineManagement(false));
    auto disks =
        Own(Own(management->GetMachineInfo(machine_.c_str()))->CreateDiskEnumerator(false));
    std::map<std::wstring, std::vector<Range>> changed;
    while (disks->Next()) {
      const auto id = kept.find(disks->GetDiskId());
      if (id == kept.end()) {
        ADD_FAILURE() << "no identifier was kept for " << disks->GetPath();
        continue;
      }
      auto ranges = Own(disks->GetDiskChangeEnumerator(id->second.c_str()));
      auto& list = changed[disks->GetPath()];
      while (ranges->Next()) {
        list.push_back({ranges->GetOffset(), ranges->GetLength()});
      }
    }
    return changed;
  }

  // The whole road: the guest writes at the start, in the middle and in the last block of the
  // system disk, and once on the data disk; every byte written must be reported.
  void ExpectEveryWriteFound() {
    const auto kept = KeepIdentifiers();
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept.count(systemDiskId_), 1u);
    EXPECT_EQ(kept.count(dataDiskId_), 1u);
    host_.AdvanceClock(60000);
    const std::vector<Range> systemWrites = {{0, 512}, {kGiB, 4096}, {kSystemSize - 4096, 4096}};
    for (const auto& write : systemWrites) {
      host_.WriteToDisk(kSystemDisk, write.offset, write.length);
    }
    host_.WriteToDisk(kDataDisk, 7 * kGiB, 8192);
    const auto changed = ChangedRanges(kept);
    for (const auto& write : systemWrites) {
      EXPECT_TRUE(Covers(changed.at(kSystemDisk), write)) << "write at " << write.offset;
    }
    EXPECT_TRUE(Covers(changed.at(kDataDisk), {7 * kGiB, 8192}));
  }

  static bool Covers(const std::vector<Range>& ranges, Range write) {
    std::uint64_t at = write.offset;
    const std::uint64_t end = write.offset + write.length;
    for (bool moved = true; at < end && moved;) {
      moved = false;
      for (const auto& range : ranges) {
        if (range.offset <= at && at < range.offset + range.length) {
          at = range.offset + range.length;
          moved = true;
        }
      }
    }
    return at >= end;
  }

  std::vector<sim::Call> ChangeCalls() {
    std::vector<sim::Call> calls;
    for (const auto& call : CallsOf(host_, L"ExecMethod")) {
      if (call.method == L"GetVirtualDiskChanges") {
        calls.push_back(call);
      }
    }
    return calls;
  }

  sim::SimulatedHost host_ = sim::SimulatedHost::Create();
  std::wstring machine_;
  std::wstring systemDiskId_;
  std::wstring dataDiskId_;
  Owned<IQuorvane> root_;
  Owned<ISnapshotManagement> snapshots_;
};

// Reading: "VirtualDiskIdentifiers" hold each disk's "VirtualDiskId"; "ByteLength" may reach the
// disk's end; the changes are answered at once.
TEST_F(OpenReadingTest, ReadingDiskIdsFullLengthAndAnswersAtOnceFindsEveryWrite) {
  Start({});
  ExpectEveryWriteFound();
  EXPECT_EQ(ChangeCalls().size(), 2u) << "one pass a disk";
}

// Reading: "VirtualDiskIdentifiers" hold the disks' storage allocation InstanceIDs.
TEST_F(OpenReadingTest, ReadingAllocationIdsFindsEveryWrite) {
  Start({kAllocationIds});
  ExpectEveryWriteFound();
}

// Reading: "ByteLength" must be less than the disk's size; the whole size is refused with 32773.
TEST_F(OpenReadingTest, ReadingFullLengthRefusedFindsEveryWrite) {
  Start({kFullLengthRefused});
  ExpectEveryWriteFound();
  const auto calls = ChangeCalls();
  ASSERT_GE(calls.size(), 3u);
  EXPECT_EQ(calls[0].Input(L"ByteLength"), std::to_wstring(kSystemSize));
  EXPECT_EQ(calls[1].Input(L"ByteLength"), std::to_wstring(kSystemSize - 1));
  EXPECT_EQ(calls[2].Input(L"ByteOffset"), std::to_wstring(kSystemSize - 1));
  EXPECT_EQ(calls[2].Input(L"ByteLength"), L"1") << "the last byte is asked about too";
}

// Reading: the changes are answered through a job whose outputs are there when it ends.
TEST_F(OpenReadingTest, ReadingJobsWithOutputsFindsEveryWrite) {
  Start({kThroughJobs});
  ExpectEveryWriteFound();
  EXPECT_EQ(ChangeCalls().size(), 2u);
}

// Reading: the changes are answered through a job, and only a call made after the job ended
// gets the outputs. Each pass is asked twice, the second time the same.
TEST_F(OpenReadingTest, ReadingOutputsAfterJobFindsEveryWrite) {
  Start({kThroughJobs, kOutputsAfterJob});
  ExpectEveryWriteFound();
  const auto calls = ChangeCalls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].inputs, calls[1].inputs);
  EXPECT_EQ(calls[2].inputs, calls[3].inputs);
}

// The outputs-after-job reading while the method answers at once makes no difference.
TEST_F(OpenReadingTest, ReadingOutputsAfterJobAnsweredAtOnceFindsEveryWrite) {
  Start({kOutputsAfterJob});
  ExpectEveryWriteFound();
  EXPECT_EQ(ChangeCalls().size(), 2u);
}

// All three open readings at once.
TEST_F(OpenReadingTest, AllThreeReadingsTogetherFindEveryWrite) {
  Start({kAllocationIds, kFullLengthRefused, kOutputsAfterJob, kThroughJobs});
  ExpectEveryWriteFound();
}

// Only 32773 on the full length is asked again; any other refusal is raised at once.
TEST_F(OpenReadingTest, OtherRefusalsOfAPassAreRaised) {
  Start({kFullLengthRefused});
  const auto kept = KeepIdentifiers();
  host_.FailMethodCalls(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", 32774);
  auto management = Own(root_->CreateMachineManagement(false));
  auto disks = Own(Own(management->GetMachineInfo(machine_.c_str()))->CreateDiskEnumerator(false));
  ASSERT_TRUE(disks->Next());
  const std::wstring id = kept.at(disks->GetDiskId());
  EXPECT_EQ(Raised([&] { disks->GetDiskChangeEnumerator(id.c_str()); }).GetErrorCode(), 32774u);
  EXPECT_EQ(ChangeCalls().size(), 1u);
  // A second 32773, for one byte less, is raised too.
  host_.FailMethodCalls(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", 32773, 2);
  EXPECT_EQ(Raised([&] { disks->GetDiskChangeEnumerator(id.c_str()); }).GetErrorCode(), 32773u);
  EXPECT_EQ(ChangeCalls().size(), 3u);
}

}  // namespace
}  // namespace quorvane::testing
