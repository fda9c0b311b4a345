#include "wmi/wmi_job.h"

#include "errors/status.h"
#include "quorvane/exceptions.h"

namespace quorvane {
namespace {

constexpr std::uint32_t kWmiNotFound = 0x80041002;

// A host removes a finished job a few minutes after it ends ("TimeBeforeRemoval"); a poll that
// comes later finds nothing, and the job's end, success or failure, is lost with it.
WmiObjectPtr FetchJob(IWmiService& service, const std::wstring& path) {
  try {
    return service.GetObject(path);
  } catch (const DefaultException& e) {
    if (e.GetErrorCode() != kWmiNotFound) {
      throw;
    }
    const std::wstring message =
        L"The host removed the job before its end was read; the outcome of the operation is "
        L"unknown: " +
        path;
    throw DefaultException(kWmiNotFound, message.c_str());
  }
}

}  // namespace

bool IsFinalJobState(std::int64_t state) {
  switch (state) {
    case 7:      // Completed
    case 8:      // Terminated
    case 9:      // Killed
    case 10:     // Exception
    case 32768:  // Completed with warnings
      return true;
    default:
      return false;
  }
}

WmiJob::WmiJob(WmiServicePtr service, WmiMethodPtr method)
    : service_(std::move(service)), method_(std::move(method)) {}

void WmiJob::Run() {
  job_ = nullptr;
  const std::uint32_t result = method_->Execute();
  if (result == method_result::kCompleted) {
    return;
  }
  if (result != method_result::kJobStarted) {
    const std::wstring message =
        L"Wmi error on run method: " + std::to_wstring(static_cast<std::int32_t>(result));
    throw DefaultException(result, message.c_str());
  }
  const std::wstring path = method_->GetOutParameter(L"Job").AsWideString();
  job_ = FetchJob(*service_, path);
  while (!IsFinalJobState(job_->GetProperty(L"JobState").AsInteger())) {
    service_->Wait(kPollIntervalMs);
    job_ = FetchJob(*service_, path);
  }
  const auto errorCode = static_cast<std::uint32_t>(job_->GetProperty(L"ErrorCode").AsInteger());
  if (errorCode != 0) {
    const std::wstring description = job_->GetProperty(L"ErrorDescription").AsWideString();
    throw DefaultException(errorCode, description.c_str());
  }
}

WmiObjectPtr WmiJob::GetAffectedElement(const std::wstring& resultClass) {
  if (!job_) {
    return nullptr;
  }
  auto affected = job_->GetAssociators(resultClass, L"Msvm_AffectedJobElement");
  return affected.empty() ? nullptr : affected.front();
}

}  // namespace quorvane
