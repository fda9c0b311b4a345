#include "hyperv/image_management.h"

#include "simhost/hyperv_model.h"
#include "simhost/sim_fixture.h"
#include "simhost/virtual_disks.h"

namespace quorvane::sim {
namespace {

// What gathering the disk's changes raised.
DefaultException GatheringFailure(IWmiService& service, const std::wstring& path) {
  try {
    GetVirtualDiskChanges(service, path, L"rctX:any");
  } catch (const DefaultException& raised) {
    return raised;
  }
  return DefaultException(0, L"nothing raised");
}

// Hyper-V returns the two arrays of equal length; a host that does not must not make the
// library read past the shorter one.
TEST_F(SimHostTest, ShorterLengthsThanOffsetsAreRefused) {
  CreateDiskFile(Core(), L"D:\\x.vhdx", 1 << 20, L"");
  Core().RegisterMethod(
      L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", [](MethodCall& call) {
        call.out[L"ProcessedByteLength"] = WmiValue::UInt64(1 << 20);
        call.out[L"ChangedByteOffsets"] = WmiValue::Array(std::vector<std::wstring>{L"0", L"4096"});
        call.out[L"ChangedByteLengths"] = WmiValue::Array(std::vector<std::wstring>{L"4096"});
        return 0u;
      });
  const auto e = GatheringFailure(*service_, L"D:\\x.vhdx");
  EXPECT_EQ(e.GetErrorCode(), 0xFFFFFFFFu);
  EXPECT_STREQ(e.GetMessageDescription(),
               L"GetVirtualDiskChanges returned fewer lengths than offsets");
}

// Extra lengths are left unread.
TEST_F(SimHostTest, ExtraLengthsAreLeftUnread) {
  CreateDiskFile(Core(), L"D:\\w.vhdx", 1 << 20, L"");
  Core().RegisterMethod(
      L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", [](MethodCall& call) {
        call.out[L"ProcessedByteLength"] = WmiValue::UInt64(1 << 20);
        call.out[L"ChangedByteOffsets"] = WmiValue::Array(std::vector<std::wstring>{L"8192"});
        call.out[L"ChangedByteLengths"] = WmiValue::Array(std::vector<std::wstring>{L"4096", L"8"});
        return 0u;
      });
  const auto ranges = GetVirtualDiskChanges(*service_, L"D:\\w.vhdx", L"rctX:any");
  ASSERT_EQ(ranges.size(), 1u);
  EXPECT_EQ(ranges[0].offset, 8192u);
  EXPECT_EQ(ranges[0].length, 4096u);
}

// A pass that processes nothing ends the walk, keeping what earlier passes found.
TEST_F(SimHostTest, ZeroProcessedEndsTheWalk) {
  CreateDiskFile(Core(), L"D:\\y.vhdx", 1 << 20, L"");
  int passes = 0;
  Core().RegisterMethod(
      L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", [&passes](MethodCall& call) {
        const bool first = passes++ == 0;
        call.out[L"ProcessedByteLength"] = WmiValue::UInt64(first ? 8192 : 0);
        call.out[L"ChangedByteOffsets"] =
            WmiValue::Array(std::vector<std::wstring>{first ? L"0" : L"8192"});
        call.out[L"ChangedByteLengths"] = WmiValue::Array(std::vector<std::wstring>{L"4096"});
        return 0u;
      });
  const auto ranges = GetVirtualDiskChanges(*service_, L"D:\\y.vhdx", L"rctX:any");
  EXPECT_EQ(passes, 2);
  ASSERT_EQ(ranges.size(), 2u);
  EXPECT_EQ(ranges[1].offset, 8192u);
}

// A disk whose every change query answers through a job with these outputs, however often it is
// asked; `calls` counts the queries.
void AnswerThroughJobs(HostCore& core, const std::wstring& path, const PropertyMap& outputs,
                       int& calls) {
  CreateDiskFile(core, path, 1 << 20, L"");
  core.SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", false);
  core.RegisterMethod(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges",
                      [&calls, outputs](MethodCall& call) {
                        ++calls;
                        for (const auto& [name, value] : outputs) {
                          call.out[name] = value;
                        }
                        return call.Complete(0, {});
                      });
}

// A planted host: every pass answers through a job and never gives its outputs, even to the
// call made after the job. The library must not take the silence for "nothing changed".
TEST_F(SimHostTest, OutputsThatNeverComeFailTheGathering) {
  int calls = 0;
  AnswerThroughJobs(Core(), L"D:\\silent.vhdx", {}, calls);
  const auto e = GatheringFailure(*service_, L"D:\\silent.vhdx");
  EXPECT_EQ(e.GetErrorCode(), 0xFFFFFFFFu);
  EXPECT_NE(std::wstring(e.GetMessageDescription()).find(L"ProcessedByteLength"),
            std::wstring::npos);
  EXPECT_EQ(calls, 2) << "asked once more after the job, and no more";
}

// "0" is an answer, not a missing one: it ends the gathering through a job as it does at once.
TEST_F(SimHostTest, ZeroProcessedThroughAJobIsNotAskedAgain) {
  int calls = 0;
  AnswerThroughJobs(Core(), L"D:\\zero.vhdx", {{L"ProcessedByteLength", WmiValue::String(L"0")}},
                    calls);
  EXPECT_TRUE(GetVirtualDiskChanges(*service_, L"D:\\zero.vhdx", L"rctX:any").empty());
  EXPECT_EQ(calls, 1);
}

// The host answers synchronously by default; answered through jobs, the outputs are the same.
TEST_F(SimHostTest, ChangesAnsweredThroughJobs) {
  CreateDiskFile(Core(), L"D:\\z.vhdx", 1 << 20, L"");
  const std::wstring id = Core().Disks().IssueTrackingId(L"D:\\z.vhdx");
  Core().Disks().Write(L"D:\\z.vhdx", 8192, 100);
  Core().SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", false);
  Core().SetSynchronous(L"Msvm_ImageManagementService", L"GetVirtualHardDiskSettingData", false);
  const auto ranges = GetVirtualDiskChanges(*service_, L"D:\\z.vhdx", id);
  ASSERT_EQ(ranges.size(), 1u);
  EXPECT_EQ(ranges[0].offset, 8192u);
  EXPECT_EQ(ranges[0].length, 4096u);  // whole tracking blocks
  EXPECT_EQ(Query(L"SELECT * FROM Msvm_StorageJob WHERE JobState = 7").size(), 2u);
}

// "MaxInternalSize" is an unsigned 64-bit number: a disk above 2^63 - 1 bytes is asked about
// in full, and ranges beyond that point come back.
TEST_F(SimHostTest, DiskSizesAboveTheSignedRangeAreReadWhole) {
  constexpr std::uint64_t kSize = 0x8000000000100000ull;
  CreateDiskFile(Core(), L"D:\\huge.vhdx", kSize, L"");
  std::vector<std::wstring> lengths;
  Core().RegisterMethod(
      L"Msvm_ImageManagementService", L"GetVirtualDiskChanges", [&lengths](MethodCall& call) {
        lengths.push_back(call.In(L"ByteLength").AsWideString());
        call.out[L"ProcessedByteLength"] = call.In(L"ByteLength");
        call.out[L"ChangedByteOffsets"] =
            WmiValue::Array(std::vector<std::wstring>{L"9223372036854779904"});
        call.out[L"ChangedByteLengths"] = WmiValue::Array(std::vector<std::wstring>{L"4096"});
        return 0u;
      });
  const auto ranges = GetVirtualDiskChanges(*service_, L"D:\\huge.vhdx", L"rctX:any");
  EXPECT_EQ(lengths, std::vector<std::wstring>{L"9223372036855824384"});
  ASSERT_EQ(ranges.size(), 1u);
  EXPECT_EQ(ranges[0].offset, 9223372036854779904ull);
}

}  // namespace
}  // namespace quorvane::sim
