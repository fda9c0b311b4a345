#include "wmi/wmi_job.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quorvane/exceptions.h"
#include "wmi/fake_wmi.h"

namespace quorvane {
namespace {

using ::testing::ElementsAre;
using testing::FakeMethod;
using testing::FakeService;

constexpr wchar_t kJobPath[] =
    L"\\\\HOST\\root\\virtualization\\v2:Msvm_ConcreteJob.InstanceID=\"8A496B9C\"";

class WmiJobTest : public ::testing::Test {
 protected:
  // The job reports the given states one fetch after another, then ends with the error.
  void ScriptJob(std::vector<WmiValue> states, WmiValue errorCode, std::wstring description) {
    method_->returnValue = method_result::kJobStarted;
    method_->outParameters[L"Job"] = WmiValue::String(kJobPath);
    service_->onGetObject = [this, states = std::move(states), errorCode,
                             description](const std::wstring&) {
      const WmiValue state = states[std::min(fetches_++, states.size() - 1)];
      return service_->MakeObject({{L"JobState", state},
                                   {L"ErrorCode", errorCode},
                                   {L"ErrorDescription", WmiValue::String(description)},
                                   {L"__RelPath", WmiValue::String(L"Msvm_ConcreteJob.Id=1")}});
    };
  }

  std::shared_ptr<FakeService> service_ = std::make_shared<FakeService>();
  std::shared_ptr<FakeMethod> method_ = std::make_shared<FakeMethod>();
  WmiJob job_{service_, method_};
  std::size_t fetches_ = 0;
};

TEST_F(WmiJobTest, SynchronousCompletionKeepsNoJob) {
  job_.Run();
  EXPECT_EQ(method_->executions, 1);
  EXPECT_EQ(job_.GetAffectedElement(L"Msvm_ComputerSystem"), nullptr);
  EXPECT_TRUE(service_->log.empty());
}

TEST_F(WmiJobTest, OtherReturnCodesRaiseWithSignedDecimalText) {
  method_->returnValue = 32775u;
  try {
    job_.Run();
    FAIL() << "expected an exception";
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode(), 32775u);
    EXPECT_STREQ(e.GetMessageDescription(), L"Wmi error on run method: 32775");
  }
  method_->returnValue = 0xFFFFFFFEu;
  try {
    job_.Run();
    FAIL() << "expected an exception";
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode(), 0xFFFFFFFEu);
    EXPECT_STREQ(e.GetMessageDescription(), L"Wmi error on run method: -2");
  }
  EXPECT_TRUE(service_->log.empty());
}

TEST_F(WmiJobTest, PollsWithFreshFetchesUntilFinalThenFindsTheAffectedElement) {
  ScriptJob({WmiValue::Int32(3), WmiValue::Int32(4), WmiValue::Int32(7)}, WmiValue::Int32(0), L"");
  job_.Run();
  const std::wstring fetch = std::wstring(L"GetObject ") + kJobPath;
  EXPECT_THAT(service_->log, ElementsAre(fetch, L"Wait 100", fetch, L"Wait 100", fetch));
  EXPECT_EQ(service_->waitedMs, 200u);

  const std::wstring query =
      L"ASSOCIATORS OF {Msvm_ConcreteJob.Id=1} WHERE ResultClass = Msvm_ComputerSystem "
      L"AssocClass = Msvm_AffectedJobElement";
  auto vm = service_->MakeObject({});
  service_->queryResults[query] = {vm, service_->MakeObject({})};
  EXPECT_EQ(job_.GetAffectedElement(L"Msvm_ComputerSystem"), vm);
  EXPECT_EQ(job_.GetAffectedElement(L"Msvm_Other"), nullptr);
}

TEST_F(WmiJobTest, FailedJobRaisesItsErrorCodeAndDescription) {
  ScriptJob({WmiValue::Int32(4), WmiValue::Int32(10)}, WmiValue::Int32(32768), L"Snapshot failed");
  try {
    job_.Run();
    FAIL() << "expected an exception";
  } catch (const DefaultException& e) {
    EXPECT_EQ(e.GetErrorCode(), 32768u);
    EXPECT_STREQ(e.GetMessageDescription(), L"Snapshot failed");
  }
}

TEST_F(WmiJobTest, ErrorCodeZeroIsSuccessWhateverTheFinalState) {
  for (const std::int32_t state : {7, 8, 9, 10, 32768}) {
    fetches_ = 0;
    ScriptJob({WmiValue::Int32(state), WmiValue::Int32(7)}, WmiValue::Int32(0), L"");
    EXPECT_NO_THROW(job_.Run()) << state;
    EXPECT_EQ(fetches_, 1u) << "state " << state << " is final: no polling after it";
  }
}

TEST_F(WmiJobTest, AcceptsEveryIntegerKindForStateAndCode) {
  ScriptJob({WmiValue::String(L"4"), WmiValue::UInt8(7)}, WmiValue::Int16(0), L"");
  EXPECT_NO_THROW(job_.Run());
  EXPECT_EQ(service_->waitedMs, 100u);
}

}  // namespace
}  // namespace quorvane
