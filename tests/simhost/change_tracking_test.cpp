// Resilient change tracking as the simulated host keeps it: per file, identifiers issued per
// point in time, and refusals paired with the system status they stand for.
#include "hyperv/image_management.h"
#include "simhost/hyperv_model.h"
#include "simhost/sim_fixture.h"
#include "simhost/virtual_disks.h"

namespace quorvane::sim {
namespace {

constexpr wchar_t kBase[] = L"D:\\base.vhdx";
constexpr wchar_t kChild[] = L"D:\\base_1.avhdx";

DefaultException RaisedBy(const std::function<void()>& action) {
  try {
    action();
  } catch (const DefaultException& e) {
    return e;
  }
  return DefaultException(0, L"nothing raised");
}

class ChangeTrackingTest : public SimHostTest {
 protected:
  ChangeTrackingTest() {
    CreateDiskFile(Core(), kBase, 1 << 20, L"");
    CreateDiskFile(Core(), kChild, 1 << 20, kBase);
  }

  std::vector<ChangedRange> Changes(const std::wstring& path, const std::wstring& id) {
    return GetVirtualDiskChanges(*service_, path, id);
  }

  std::wstring Refusal(const std::wstring& path, const std::wstring& id) {
    const auto e = RaisedBy([&] { Changes(path, id); });
    EXPECT_EQ(e.GetErrorCode(), 32768u);
    return e.GetMessageDescription();
  }
};

TEST_F(ChangeTrackingTest, EachFileAnswersOnlyForItsOwnIdentifiers) {
  const std::wstring baseId = Core().Disks().IssueTrackingId(kBase);
  const std::wstring childId = Core().Disks().IssueTrackingId(kChild);
  EXPECT_NE(baseId.substr(0, 40), childId.substr(0, 40));
  EXPECT_NE(Refusal(kChild, baseId).find(L"(0xC03A0030)"), std::wstring::npos);
  Core().Disks().Write(kChild, 0, 10);
  EXPECT_EQ(Changes(kChild, childId).size(), 1u);
  EXPECT_TRUE(Changes(kBase, baseId).empty()) << "the parent is not written through its child";
}

TEST_F(ChangeTrackingTest, IdentifiersCountPointsInTimeNotWrites) {
  const std::wstring first = Core().Disks().IssueTrackingId(kBase);
  for (int i = 0; i < 5; ++i) {
    Core().Disks().Write(kBase, 4096 * i, 1);
  }
  const std::wstring second = Core().Disks().IssueTrackingId(kBase);
  EXPECT_EQ(first.substr(first.size() - 8), L"00000000");
  EXPECT_EQ(second.substr(second.size() - 8), L"00000001");
  EXPECT_EQ(Changes(kBase, first).size(), 1u);  // five adjacent blocks merge
  EXPECT_TRUE(Changes(kBase, second).empty());
  Core().Disks().Write(kBase, 1 << 19, 1);
  EXPECT_EQ(Changes(kBase, second).size(), 1u);
}

TEST_F(ChangeTrackingTest, MergingHandsTheWritesToTheParent) {
  const std::wstring baseId = Core().Disks().IssueTrackingId(kBase);
  Core().Disks().Write(kChild, 8192, 1);
  Core().Disks().Merge(kChild);
  EXPECT_EQ(Core().Disks().Find(kChild), nullptr);
  const auto ranges = Changes(kBase, baseId);
  ASSERT_EQ(ranges.size(), 1u);
  EXPECT_EQ(ranges[0].offset, 8192u);
}

TEST_F(ChangeTrackingTest, EachRefusalCarriesItsOwnStatus) {
  const std::wstring id = Core().Disks().IssueTrackingId(kBase);
  EXPECT_NE(Refusal(kBase, L"rctX:nonsense")
                .find(L"The specified change tracking identifier is not valid. (0xC03A0029)"),
            std::wstring::npos);
  CreateDiskFile(Core(), L"D:\\old.vhd", 1 << 20, L"");
  EXPECT_NE(Refusal(L"D:\\old.vhd", id)
                .find(L"Change tracking is disabled for the specified virtual hard disk, so no "
                      L"change tracking information is available. (0xC03A002A)"),
            std::wstring::npos);
  const std::wstring notYetIssued = id.substr(0, id.size() - 8) + L"00000001";
  EXPECT_NE(Refusal(kBase, notYetIssued)
                .find(L"There is no change tracking data available "
                      L"associated with the specified change tracking "
                      L"identifier. (0xC03A0030)"),
            std::wstring::npos);
  Core().Disks().ExpireChain(kBase);
  EXPECT_NE(Refusal(kBase, id).find(L"(0xC03A0030)"), std::wstring::npos);
}

// Any file of a chain names the chain, as for a guest write: the base path expires the
// identifiers of the differencing file the machine writes to, and of every file below it.
TEST_F(ChangeTrackingTest, ExpiringAnyFileOfAChainExpiresTheChain) {
  const std::wstring baseId = Core().Disks().IssueTrackingId(kBase);
  const std::wstring childId = Core().Disks().IssueTrackingId(kChild);
  host_.ExpireChangeTracking(kBase);
  EXPECT_NE(Refusal(kChild, childId).find(L"(0xC03A0030)"), std::wstring::npos);
  EXPECT_NE(Refusal(kBase, baseId).find(L"(0xC03A0030)"), std::wstring::npos);
  EXPECT_THROW(host_.ExpireChangeTracking(L"D:\\none.vhdx"), DefaultException);
}

// Hyper-V's image management service reports its work as storage jobs, not as the concrete
// jobs of the management services.
TEST_F(ChangeTrackingTest, TheImageManagementServiceAnswersThroughStorageJobs) {
  Core().SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", false);
  const std::wstring id = Core().Disks().IssueTrackingId(kBase);
  Core().Disks().Write(kBase, 0, 10);
  EXPECT_EQ(Changes(kBase, id).size(), 1u);
  const auto polled = host_.CallLog().back();
  EXPECT_EQ(polled.operation, L"GetObject");
  EXPECT_NE(polled.target.find(L":Msvm_StorageJob.InstanceID="), std::wstring::npos);
  const auto jobs = service_->ExecQuery(L"SELECT * FROM Msvm_StorageJob");
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0]->GetProperty(L"JobState").AsInteger(), 7);
  EXPECT_TRUE(service_->ExecQuery(L"SELECT * FROM Msvm_ConcreteJob").empty());
  EXPECT_EQ(service_->ExecQuery(L"SELECT * FROM CIM_ConcreteJob").size(), 1u);
}

// A host that hands a job's outputs only to the call made after the job keeps that promise
// across a save: the call made on the loaded host answers at once.
TEST(ChangeTrackingHeldAnswers, OutlastASave) {
  HostOptions options;
  options.changesOutputsAfterJob = true;
  auto host = SimulatedHost::Create(options);
  CoreOf(host).SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", false);
  CreateDiskFile(CoreOf(host), kBase, 1 << 20, L"");
  const std::wstring id = CoreOf(host).Disks().IssueTrackingId(kBase);
  CoreOf(host).Disks().Write(kBase, 0, 10);
  const auto ask = [&](SimulatedHost& on) {
    auto service = CoreOf(on).Connect(L"", L"", L"", kVirtualizationNamespace);
    const auto method =
        service->QueryFirst(L"Msvm_ImageManagementService")->CreateMethod(L"GetVirtualDiskChanges");
    method->SetParameter(L"Path", WmiValue::String(kBase));
    method->SetParameter(L"LimitId", WmiValue::String(id));
    method->SetParameter(L"ByteOffset", WmiValue::UInt64(0));
    method->SetParameter(L"ByteLength", WmiValue::UInt64(1 << 19));
    const auto result = method->Execute();
    return std::pair(result, method->GetOutParameter(L"ProcessedByteLength").IsNull());
  };
  EXPECT_EQ(ask(host), std::pair(4096u, true));
  host.AdvanceClock(1000);
  auto loaded = SimulatedHost::FromJson(host.ToJson());
  EXPECT_EQ(ask(loaded), std::pair(0u, false));
}

TEST(ChangeTrackingRefusalForm, ScenarioCanMakeItAReturnValue) {
  HostOptions options;
  options.changeTrackingFailsThroughJob = false;
  options.changeTrackingFailureCode = 32773;
  auto host = SimulatedHost::Create(options);
  CreateDiskFile(CoreOf(host), kBase, 1 << 20, L"");
  auto service = CoreOf(host).Connect(L"", L"", L"", kVirtualizationNamespace);
  const auto e = RaisedBy([&] { GetVirtualDiskChanges(*service, kBase, L"rctX:nonsense"); });
  EXPECT_EQ(e.GetErrorCode(), 32773u);
  EXPECT_TRUE(service->ExecQuery(L"SELECT * FROM Msvm_StorageJob").empty());
  EXPECT_NE(host.ToJson().find("\"changeTrackingFailsThroughJob\": false"), std::string::npos);
  EXPECT_EQ(SimulatedHost::FromJson(host.ToJson()).ToJson(), host.ToJson());
}

}  // namespace
}  // namespace quorvane::sim
