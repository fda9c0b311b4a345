#pragma once

#include "wmi/wmi.h"

namespace quorvane {

// What a WMI method that may start a job returns.
namespace method_result {
constexpr std::uint32_t kCompleted = 0;
constexpr std::uint32_t kJobStarted = 4096;
}  // namespace method_result

class WmiJob : public IWmiJob {
 public:
  static constexpr std::uint32_t kPollIntervalMs = 100;

  WmiJob(WmiServicePtr service, WmiMethodPtr method);

  // Executes the method; when it starts a job, polls the job (fresh fetch each time) until it
  // reaches a final state. A job succeeds when its "ErrorCode" is 0, whatever that state is.
  void Run() override;
  WmiObjectPtr GetAffectedElement(const std::wstring& resultClass) override;
  // Whether the last Run answered through a job rather than at once.
  bool AnsweredThroughJob() const { return job_ != nullptr; }

 private:
  WmiServicePtr service_;
  WmiMethodPtr method_;
  WmiObjectPtr job_;
};

// Whether a "JobState" value is one a job does not leave.
bool IsFinalJobState(std::int64_t state);

}  // namespace quorvane
