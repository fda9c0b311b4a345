#include "hyperv/image_management.h"

#include <algorithm>
#include <cwchar>

#include "hyperv/hyperv_names.h"
#include "quorvane/exceptions.h"
#include "wmi/embedded_instance_reader.h"
#include "wmi/wmi_job.h"

namespace quorvane {
namespace {

// Unsigned 64-bit decimal, as Hyper-V's uint64 values travel; text that is not a number reads
// as 0. Plain digits, which is what Hyper-V sends, take the quick way: a large disk has a
// million of them.
std::uint64_t ReadCount(const std::wstring& text) {
  if (!text.empty() && text.size() <= 18) {
    std::uint64_t value = 0;
    for (const wchar_t c : text) {
      if (c < L'0' || c > L'9') {
        return std::wcstoull(text.c_str(), nullptr, 10);
      }
      value = value * 10 + static_cast<std::uint64_t>(c - L'0');
    }
    return value;
  }
  return std::wcstoull(text.c_str(), nullptr, 10);
}

const std::vector<std::wstring>& TextArray(const WmiValue& value) {
  static const std::vector<std::wstring> kEmpty;
  const auto* texts = std::get_if<std::vector<std::wstring>>(&value.Get());
  return texts ? *texts : kEmpty;
}

// Appends one pass's answer to `ranges`.
void AppendRanges(const WmiValue& offsets, const WmiValue& lengths,
                  std::vector<ChangedRange>& ranges) {
  const auto& offsetTexts = TextArray(offsets);
  const auto& lengthTexts = TextArray(lengths);
  if (lengthTexts.size() < offsetTexts.size()) {
    throw DefaultException(kLibraryErrorCode,
                           L"GetVirtualDiskChanges returned fewer lengths than offsets");
  }
  // Geometric growth: reserving exactly what each pass adds would copy the whole list per pass.
  const std::size_t needed = ranges.size() + offsetTexts.size();
  if (needed > ranges.capacity()) {
    ranges.reserve(std::max(needed, 2 * ranges.capacity()));
  }
  for (std::size_t i = 0; i < offsetTexts.size(); ++i) {
    ranges.push_back({ReadCount(offsetTexts[i]), ReadCount(lengthTexts[i])});
  }
}

// What every pass of one disk's change gathering asks about.
struct ChangesRequest {
  IWmiObject& imageService;
  const std::wstring& path;
  const std::wstring& limitId;
};

// One "GetVirtualDiskChanges" call, its job awaited; `answeredThroughJob` tells how it answered.
WmiMethodPtr AskForChanges(const ChangesRequest& request, std::uint64_t offset,
                           std::uint64_t length, bool& answeredThroughJob) {
  const auto method = request.imageService.CreateMethod(L"GetVirtualDiskChanges");
  method->SetParameter(L"Path", WmiValue::String(request.path));
  method->SetParameter(L"LimitId", WmiValue::String(request.limitId));
  method->SetParameter(L"ByteOffset", WmiValue::UInt64(offset));
  method->SetParameter(L"ByteLength", WmiValue::UInt64(length));
  WmiJob job(request.imageService.GetService(), method);
  job.Run();
  answeredThroughJob = job.AnsweredThroughJob();
  return method;
}

// Null reads as empty text too.
bool IsAbsent(const WmiValue& value) {
  return value.AsWideString().empty();
}

// One pass from `offset` to the end of the disk. Hosts differ on two points, and a pass copes
// with both: some refuse a length that reaches the end of the disk (32773), so the pass asks
// again for one byte less; some fill a job's outputs only for a call made after that job
// ended, so a pass whose job left "ProcessedByteLength" out is asked again. Going on without
// it would end the gathering early and hand out an incomplete list.
WmiMethodPtr AskForChangesFrom(const ChangesRequest& request, std::uint64_t offset,
                               std::uint64_t length) {
  bool answeredThroughJob = false;
  WmiMethodPtr pass;
  try {
    pass = AskForChanges(request, offset, length, answeredThroughJob);
  } catch (const DefaultException& e) {
    if (e.GetErrorCode() != hyperv::kInvalidParameter || length < 2) {
      throw;
    }
    --length;
    pass = AskForChanges(request, offset, length, answeredThroughJob);
  }
  if (!answeredThroughJob || !IsAbsent(pass->GetOutParameter(L"ProcessedByteLength"))) {
    return pass;
  }
  pass = AskForChanges(request, offset, length, answeredThroughJob);
  if (IsAbsent(pass->GetOutParameter(L"ProcessedByteLength"))) {
    throw DefaultException(kLibraryErrorCode,
                           L"GetVirtualDiskChanges ended without \"ProcessedByteLength\", even "
                           L"when asked again after its job: the changes of the disk are unknown");
  }
  return pass;
}

}  // namespace

std::wstring GetVirtualHardDiskSettingData(IWmiObject& imageService, const std::wstring& path) {
  const auto method = imageService.CreateMethod(L"GetVirtualHardDiskSettingData");
  method->SetParameter(L"Path", WmiValue::String(path));
  WmiJob(imageService.GetService(), method).Run();
  return method->GetOutParameter(L"SettingData").AsWideString();
}

std::vector<ChangedRange> GetVirtualDiskChanges(IWmiService& service, const std::wstring& path,
                                                const std::wstring& limitId) {
  const auto imageService = service.QueryFirst(L"Msvm_ImageManagementService");
  std::vector<ChangedRange> ranges;
  auto reader = CreateEmbeddedInstanceReader();
  reader->Load(GetVirtualHardDiskSettingData(*imageService, path));
  const std::uint64_t size = ReadCount(reader->GetString(L"MaxInternalSize"));
  if (size == 0) {
    return ranges;
  }
  const ChangesRequest request{*imageService, path, limitId};
  std::uint64_t offset = 0;
  while (true) {
    const auto pass = AskForChangesFrom(request, offset, size - offset);
    const std::uint64_t processed =
        ReadCount(pass->GetOutParameter(L"ProcessedByteLength").AsWideString());
    AppendRanges(pass->GetOutParameter(L"ChangedByteOffsets"),
                 pass->GetOutParameter(L"ChangedByteLengths"), ranges);
    offset += processed;
    if (offset >= size || processed == 0) {
      return ranges;
    }
  }
}

}  // namespace quorvane
