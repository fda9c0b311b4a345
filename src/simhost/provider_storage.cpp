// How the image management service answers for disk files and their changes.
#include <algorithm>
#include <utility>

#include "simhost/hyperv_model.h"
#include "simhost/instance_text.h"
#include "simhost/providers.h"
#include "util/case_insensitive.h"

namespace quorvane::sim {
namespace {

std::wstring FileName(const std::wstring& path) {
  const std::size_t slash = path.find_last_of(L"\\/");
  return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::uint32_t GetVirtualHardDiskSettingData(MethodCall& call) {
  const std::wstring path = call.In(L"Path").AsWideString();
  const VirtualDisk* disk = call.host.Disks().Find(path);
  if (disk == nullptr) {
    return kFileNotFound;
  }
  // The answer is ready at once; through a job, the output is filled before the job ends.
  const ClassDef& cls = *Schema::Instance().FindClass(L"Msvm_VirtualHardDiskSettingData");
  PropertyMap values = {
      {L"BlockSize", WmiValue::Int32(disk->type == 2 ? 0 : 33554432)},
      {L"Caption", WmiValue::String(L"Virtual Hard Disk Setting Data")},
      {L"Description", WmiValue::String(L"Setting Data for a Virtual Hard Disk.")},
      {L"ElementName", WmiValue::String(FileName(disk->path))},
      {L"Format", WmiValue::Int32(disk->format)},
      {L"InstanceID", WmiValue::String(L"Microsoft:" + disk->diskId)},
      {L"LogicalSectorSize", WmiValue::Int32(512)},
      {L"MaxInternalSize", WmiValue::UInt64(disk->maxInternalSize)},
      {L"ParentPath", WmiValue::String(disk->parentPath)},
      {L"Path", WmiValue::String(disk->path)},
      {L"PhysicalSectorSize", WmiValue::Int32(4096)},
      {L"Type", WmiValue::Int32(disk->type)},
      {L"VirtualDiskId", WmiValue::String(disk->diskId)},
  };
  call.out[L"SettingData"] = WmiValue::String(InstanceToLeanText(cls, values));
  return call.Complete(0, {});
}

bool HasSucceeded(const Repository& repository, Repository::Id job) {
  return repository.Contains(job) &&
         repository.Property(job, L"JobState").AsInteger() == kJobCompleted;
}

// A host that gives a job's outputs only to the same call (`key`: all it asked) made after that
// job has ended: the first call starts a job and gets nothing, the second gets `answer` at once.
template <typename Answer>
std::uint32_t AnswerAfterJob(MethodCall& call, const std::wstring& key, Answer& answer) {
  auto& held = call.host.HeldAnswers();
  const auto found = held.find(key);
  if (found != held.end() && HasSucceeded(call.repository, found->second)) {
    held.erase(found);
    answer();
    return 0;
  }
  const std::uint32_t result = call.Complete(0, {});
  if (const auto job = call.repository.Find(call.out[L"Job"].AsWideString())) {
    held[key] = *job;
  }
  return result;
}

// The system's text for each refusal, and its status.
std::wstring RefusalText(TrackingRefusal refusal) {
  switch (refusal) {
    case TrackingRefusal::Disabled:
      return L"Change tracking is disabled for the specified virtual hard disk, so no change "
             L"tracking information is available. (0xC03A002A)";
    case TrackingRefusal::Invalid:
      return L"The specified change tracking identifier is not valid. (0xC03A0029)";
    case TrackingRefusal::Missing:
      break;
  }
  return L"There is no change tracking data available associated with the specified change "
         L"tracking identifier. (0xC03A0030)";
}

std::uint32_t RefuseTrackingId(MethodCall& call, const std::wstring& path,
                               const std::wstring& limitId, TrackingRefusal refusal) {
  const HostSettings& settings = call.host.Settings();
  if (!settings.changeTrackingFailsThroughJob) {
    return settings.changeTrackingFailureCode;
  }
  return call.FailThroughJob(0, settings.changeTrackingFailureCode,
                             L"Failed to get the changes of the virtual disk '" + path +
                                 L"' since change tracking identifier '" + limitId + L"'. " +
                                 RefusalText(refusal));
}

std::uint32_t GetVirtualDiskChanges(MethodCall& call) {
  const std::wstring path = call.In(L"Path").AsWideString();
  const VirtualDisk* disk = std::as_const(call.host.Disks()).Find(path);
  if (disk == nullptr) {
    return kFileNotFound;
  }
  const std::wstring limitId = call.In(L"LimitId").AsWideString();
  const std::uint64_t offset = call.In(L"ByteOffset").IsNull()
                                   ? 0
                                   : static_cast<std::uint64_t>(call.In(L"ByteOffset").AsInteger());
  const std::uint64_t length = call.In(L"ByteLength").IsNull()
                                   ? 0
                                   : static_cast<std::uint64_t>(call.In(L"ByteLength").AsInteger());
  const std::uint64_t size = disk->maxInternalSize;
  if (offset > size || length > size - offset ||
      (call.host.Settings().refuseFullLengthChanges && size != 0 && length == size)) {
    return kInvalidParameter;
  }
  const auto checked = call.host.Disks().CheckTrackingId(path, limitId);
  if (!checked.sequence) {
    return RefuseTrackingId(call, path, limitId, checked.refusal);
  }
  const std::uint64_t to = offset + length;
  const auto& blocks = call.host.Disks().ChangedBlocks(
      path, *checked.sequence,
      std::max<std::uint64_t>(1, call.host.Settings().changeTrackingBlockSize), size);
  const std::size_t limit = std::max<std::uint32_t>(1, call.host.Settings().changeRangesPerPass);
  // The blocks this pass covers, clipped to the asked window, from where the last pass ended.
  auto block = std::upper_bound(blocks.begin(), blocks.end(), offset,
                                [](std::uint64_t at, const ChangedBlock& b) { return at < b.end; });
  std::vector<std::wstring> offsets;
  std::vector<std::wstring> lengths;
  std::uint64_t lastEnd = offset;
  for (; block != blocks.end() && block->begin < to && offsets.size() < limit; ++block) {
    const std::uint64_t begin = std::max(block->begin, offset);
    lastEnd = std::min(block->end, to);
    offsets.push_back(std::to_wstring(begin));
    lengths.push_back(std::to_wstring(lastEnd - begin));
  }
  const bool more = block != blocks.end() && block->begin < to;
  const auto answer = [&] {
    // A pass that stops early reports how far it got: up to the end of its last range.
    const std::uint64_t processed = more ? lastEnd - offset : length;
    call.out[L"ProcessedByteLength"] = WmiValue::UInt64(processed);
    call.out[L"ChangedByteOffsets"] = WmiValue::Array(std::move(offsets));
    call.out[L"ChangedByteLengths"] = WmiValue::Array(std::move(lengths));
  };
  if (!call.host.Settings().changesOutputsAfterJob ||
      call.host.IsSynchronous(call.cls, call.method)) {
    answer();
    return call.Complete(0, {});
  }
  return AnswerAfterJob(call,
                        ToLower(path) + L"\n" + limitId + L"\n" + std::to_wstring(offset) + L"\n" +
                            std::to_wstring(length),
                        answer);
}

}  // namespace

void InstallStorageBehaviours(HostCore& host) {
  host.RegisterMethod(L"Msvm_ImageManagementService", L"GetVirtualHardDiskSettingData",
                      GetVirtualHardDiskSettingData);
  host.RegisterMethod(L"Msvm_ImageManagementService", L"GetVirtualDiskChanges",
                      GetVirtualDiskChanges);
}

}  // namespace quorvane::sim
