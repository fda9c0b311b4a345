// How the Hyper-V provider takes, applies and removes checkpoints, turns recovery checkpoints
// into reference points, and changes settings.
#include <algorithm>
#include <functional>

#include "simhost/hyperv_model.h"
#include "simhost/providers.h"
#include "simhost/sim_wmi.h"

namespace quorvane::sim {
namespace {

constexpr std::uint16_t kStandard = 2;
constexpr std::uint16_t kRecovery = 32768;
constexpr std::int32_t kApplicationConsistent = 1;

std::optional<Repository::Id> SettingsAt(MethodCall& call, const wchar_t* parameter) {
  return call.repository.Find(call.In(parameter).AsWideString());
}

constexpr wchar_t kTakeSnapshot[] = L"TakeSnapshot";
constexpr wchar_t kApplySnapshot[] = L"ApplySnapshot";
constexpr wchar_t kDestroySnapshot[] = L"DestroySnapshot";
constexpr wchar_t kConvertToReferencePoint[] = L"ConvertToReferencePoint";
constexpr wchar_t kDeleteObject[] = L"DeleteObject";
constexpr wchar_t kStartMerges[] = L"StartMerges";

// Deferred work on one checkpoint of one machine.
Deferred OnSnapshot(const wchar_t* kind, const MethodCall& call, Repository::Id snapshot,
                    Repository::Id machine) {
  return {kind,
          {{L"Snapshot", call.repository.RelativePath(snapshot)},
           {L"Machine", call.repository.RelativePath(machine)}}};
}

bool IsSnapshot(const Repository& repository, Repository::Id settings) {
  const std::wstring type = repository.Property(settings, L"VirtualSystemType").AsWideString();
  return type == kRealizedSnapshot || type == kRecoverySnapshot;
}

// The settings object an embedded instance names by its InstanceID.
std::optional<Repository::Id> ByInstanceId(const Repository& repository,
                                           const ParsedInstance& text) {
  for (const auto& [name, value] : text.properties) {
    if (EqualsNoCase(name, L"InstanceID")) {
      return repository.Find(
          FormatRelativePath(text.cls->name, {{L"InstanceID", value.AsWideString()}}));
    }
  }
  return std::nullopt;
}

// What the host refuses about a machine's disk merges: an operation on its checkpoints while
// it merges (32775), and, where the scenario says so, any merge while a reference point was
// left behind (a failed job). Nothing when the operation may go ahead.
std::optional<std::uint32_t> RefusedForMerging(MethodCall& call, Repository::Id machine,
                                               std::uint16_t jobType, bool merges) {
  const HostSettings& settings = call.host.Settings();
  if (settings.refuseDuringMerge && IsMerging(call.repository, machine)) {
    return kInvalidState;
  }
  if (merges && settings.refuseMergeWithReferencePoint &&
      !LinkedEnds(call.repository, machine, L"Msvm_ReferencePointOfVirtualSystem", L"Antecedent")
           .empty()) {
    return call.FailThroughJob(jobType, kFailed,
                               L"The merge of the checkpoint's disks failed: the virtual machine "
                               L"has a reference point that was left behind.");
  }
  return std::nullopt;
}

std::uint32_t CreateSnapshot(MethodCall& call) {
  const auto machine = SettingsAt(call, L"AffectedSystem");
  const auto type = static_cast<std::uint16_t>(call.In(L"SnapshotType").AsInteger());
  if (!machine || (type != kStandard && type != kRecovery)) {
    return kInvalidParameter;
  }
  if (const auto refused = RefusedForMerging(call, *machine, kJobSnapshot, false)) {
    return *refused;
  }
  std::int64_t level = 0;
  const std::wstring settingsText = call.In(L"SnapshotSettings").AsWideString();
  if (!settingsText.empty()) {
    for (const auto& [name, value] : ParseEmbeddedInstance(settingsText).properties) {
      if (EqualsNoCase(name, L"ConsistencyLevel") && !value.IsNull()) {
        level = value.AsInteger();
      }
    }
  }
  const bool running =
      call.repository.Property(*machine, L"EnabledState").AsInteger() == kStateRunning;
  if (level == kApplicationConsistent && !running) {
    return call.FailThroughJob(kJobSnapshot, kFailed,
                               L"Could not create an application-consistent checkpoint: the "
                               L"guest is not running.");
  }
  // What the guest took part in: application-consistent only when asked for and running.
  const std::uint16_t consistency = level == kApplicationConsistent ? 1 : 2;
  return call.Complete(kJobSnapshot, {kTakeSnapshot,
                                      {{L"Machine", call.repository.RelativePath(*machine)},
                                       {L"Type", std::to_wstring(type)},
                                       {L"Consistency", std::to_wstring(consistency)}}});
}

void TakeSnapshotNow(JobContext& job, const Deferred& work) {
  const auto snapshot =
      TakeSnapshot(job.host, job.Object(work, L"Machine"),
                   static_cast<std::uint16_t>(std::stoi(work.Argument(L"Type"))), L"");
  job.host.SetCheckpointConsistency(
      job.repository.Property(snapshot, L"InstanceID").AsWideString(),
      static_cast<std::uint16_t>(std::stoi(work.Argument(L"Consistency"))));
  job.AddAffected(snapshot);
  if (job.out != nullptr) {
    (*job.out)[L"ResultingSnapshot"] = WmiValue::String(job.repository.FullPath(snapshot));
  }
}

std::uint32_t ApplySnapshot(MethodCall& call) {
  const auto snapshot = SettingsAt(call, L"Snapshot");
  if (!snapshot || !IsSnapshot(call.repository, *snapshot)) {
    return kInvalidParameter;
  }
  const auto machine = MachineOf(call.repository, *snapshot);
  if (!machine) {
    return kInvalidParameter;
  }
  const auto state = call.repository.Property(*machine, L"EnabledState").AsInteger();
  if (state != kStateOff && state != kStateSaved) {
    return call.FailThroughJob(kJobApplySnapshot, kFailed,
                               L"The checkpoint cannot be applied while the machine is running.");
  }
  return call.Complete(kJobApplySnapshot, OnSnapshot(kApplySnapshot, call, *snapshot, *machine));
}

void ApplySnapshotNow(JobContext& job, const Deferred& work) {
  const Repository::Id snapshotId = job.Object(work, L"Snapshot");
  const Repository::Id machineId = job.Object(work, L"Machine");
  const auto realized = *RealizedSettingsOf(job.repository, machineId);
  job.repository.Set(realized, L"Parent", WmiValue::String(job.repository.FullPath(snapshotId)));
  job.repository.Set(machineId, L"EnabledState", WmiValue::Int32(kStateOff));
  job.AddAffected(machineId);
}

std::uint32_t DestroySnapshot(MethodCall& call, const wchar_t* parameter, bool withSubtree) {
  const auto snapshot = SettingsAt(call, parameter);
  if (!snapshot || !IsSnapshot(call.repository, *snapshot)) {
    return kInvalidParameter;
  }
  const auto machine = MachineOf(call.repository, *snapshot);
  if (!machine) {
    return kInvalidParameter;
  }
  if (const auto refused = RefusedForMerging(call, *machine, kJobDeleteSnapshot, true)) {
    return *refused;
  }
  Deferred removal = OnSnapshot(kDestroySnapshot, call, *snapshot, *machine);
  removal.arguments.emplace_back(L"Subtree", withSubtree ? L"1" : L"0");
  return call.Complete(kJobDeleteSnapshot, std::move(removal));
}

void DestroySnapshotNow(JobContext& job, const Deferred& work) {
  const Repository::Id machineId = job.Object(work, L"Machine");
  std::vector<Repository::Id> doomed = {job.Object(work, L"Snapshot")};
  if (work.Argument(L"Subtree") == L"1") {
    // Descendants: every checkpoint whose parent chain reaches the root.
    for (std::size_t i = 0; i < doomed.size(); ++i) {
      const std::wstring parentPath = job.repository.FullPath(doomed[i]);
      for (const auto each : SnapshotsOf(job.repository, machineId)) {
        if (EqualsNoCase(job.repository.Property(each, L"Parent").AsWideString(), parentPath)) {
          doomed.push_back(each);
        }
      }
    }
  }
  for (auto it = doomed.rbegin(); it != doomed.rend(); ++it) {
    RemoveSnapshot(job.host, machineId, *it);
  }
}

std::uint32_t ConvertToReferencePoint(MethodCall& call) {
  const auto snapshot = SettingsAt(call, L"AffectedSnapshot");
  if (!snapshot || call.repository.Property(*snapshot, L"VirtualSystemType").AsWideString() !=
                       kRecoverySnapshot) {
    return kInvalidParameter;  // only recovery checkpoints turn into reference points
  }
  const auto machine = MachineOf(call.repository, *snapshot);
  if (!machine) {
    return kInvalidParameter;
  }
  if (const auto refused = RefusedForMerging(call, *machine, kJobConvertToReferencePoint, true)) {
    return *refused;
  }
  return call.Complete(kJobConvertToReferencePoint,
                       OnSnapshot(kConvertToReferencePoint, call, *snapshot, *machine));
}

void ConvertToReferencePointNow(JobContext& job, const Deferred& work) {
  const Repository::Id snapshotId = job.Object(work, L"Snapshot");
  const Repository::Id machineId = job.Object(work, L"Machine");
  Repository& v2 = job.repository;
  std::vector<std::wstring> diskIds;
  std::vector<std::wstring> trackingIds;
  // The checkpoint's own settings go with the conversion: the reading that names allocations
  // names the machine's, found at the same place below its settings.
  const std::wstring snapshotInstance = v2.Property(snapshotId, L"InstanceID").AsWideString();
  const std::wstring systemId = v2.Property(machineId, L"Name").AsWideString();
  for (const auto part : PartsOf(v2, snapshotId)) {
    const auto files = v2.Property(part, L"HostResource");
    if (v2.Property(part, L"ResourceSubType").AsWideString() != kHardDiskSubType ||
        files.AsWideStringArray().empty()) {
      continue;
    }
    const std::wstring path = files.AsWideStringArray().front();
    const VirtualDisk* disk = job.host.Disks().Find(path);
    if (disk == nullptr) {
      continue;
    }
    // The checkpoint froze this file when it started the machine's differencing file, so its
    // present state is the checkpoint's point in time.
    diskIds.push_back(
        job.host.Settings().referencePointHoldsAllocationIds
            ? L"Microsoft:" + systemId +
                  v2.Property(part, L"InstanceID").AsWideString().substr(snapshotInstance.size())
            : disk->diskId);
    trackingIds.push_back(job.host.Disks().IssueTrackingId(path));
  }
  const auto referencePoint = v2.Create(
      L"Msvm_VirtualSystemReferencePoint",
      {{L"InstanceID", WmiValue::String(L"Microsoft:" + job.host.NewGuid())},
       {L"VirtualSystemIdentifier", WmiValue::String(systemId)},
       {L"ElementName", WmiValue::String(v2.Property(snapshotId, L"ElementName").AsWideString())},
       {L"ReferencePointType", WmiValue::Int32(2)},
       {L"ConsistencyLevel", WmiValue::Int32(job.host.CheckpointConsistency(snapshotInstance))},
       {L"HasAssociatedData", WmiValue::Boolean(false)},
       {L"VirtualDiskIdentifiers", WmiValue::Array(diskIds)},
       {L"ResilientChangeTrackingIdentifiers", WmiValue::Array(trackingIds)}});
  v2.Associate(L"Msvm_ReferencePointOfVirtualSystem", L"Antecedent", machineId, L"Dependent",
               referencePoint);
  RemoveSnapshot(job.host, machineId, snapshotId);
  job.AddAffected(referencePoint);
  if (job.out != nullptr) {
    (*job.out)[L"ResultingReferencePoint"] = WmiValue::String(v2.FullPath(referencePoint));
  }
}

std::uint32_t DestroyReferencePoint(MethodCall& call) {
  const auto referencePoint = SettingsAt(call, L"AffectedReferencePoint");
  if (!referencePoint) {
    return kInvalidParameter;
  }
  return call.Complete(
      kJobDeleteReferencePoint,
      {kDeleteObject, {{L"Object", call.repository.RelativePath(*referencePoint)}}});
}

// Applies the properties an embedded instance names to the stored object it identifies, all but
// the `keep` ones, when the job ends.
std::uint32_t ModifyByText(MethodCall& call, const wchar_t* parameter, std::uint16_t jobType,
                           std::initializer_list<const wchar_t*> keep, const wchar_t* then = L"") {
  const std::wstring text = call.In(parameter).AsWideString();
  if (!ByInstanceId(call.repository, ParseEmbeddedInstance(text))) {
    return kInvalidParameter;
  }
  Deferred change{kApplySettingsText, {{L"Text", text}, {L"Affect", L"1"}, {L"Then", then}}};
  for (const wchar_t* name : keep) {
    change.arguments.emplace_back(L"Keep", name);
  }
  return call.Complete(jobType, std::move(change));
}

void ApplySettingsText(JobContext& job, const Deferred& work) {
  const ParsedInstance text = ParseEmbeddedInstance(work.Argument(L"Text"));
  const auto target = ByInstanceId(job.repository, text);
  if (!target) {
    throw DefaultException(kFailed, L"The settings to change are gone.");
  }
  for (const auto& property : text.properties) {
    const bool kept = std::any_of(work.arguments.begin(), work.arguments.end(), [&](const auto& a) {
      return a.first == L"Keep" && EqualsNoCase(a.second, property.first);
    });
    if (!kept) {
      job.repository.Set(*target, property.first, property.second);
    }
  }
  if (work.Argument(L"Affect") == L"1") {
    job.AddAffected(*target);
  }
  if (work.Argument(L"Then") == kStartMerges) {
    // Merges held back while the settings were off start once they are on again.
    for (const auto machine :
         LinkedEnds(job.repository, *target, L"Msvm_ElementSettingData", L"SettingData")) {
      StartMerges(job.host, machine);
    }
  }
}

}  // namespace

void InstallSnapshotBehaviours(HostCore& host) {
  host.RegisterMethod(L"Msvm_VirtualSystemSnapshotService", L"CreateSnapshot", CreateSnapshot);
  host.RegisterMethod(L"Msvm_VirtualSystemSnapshotService", L"ApplySnapshot", ApplySnapshot);
  host.RegisterMethod(
      L"Msvm_VirtualSystemSnapshotService", L"DestroySnapshot",
      [](MethodCall& call) { return DestroySnapshot(call, L"AffectedSnapshot", false); });
  host.RegisterMethod(
      L"Msvm_VirtualSystemSnapshotService", L"DestroySnapshotTree",
      [](MethodCall& call) { return DestroySnapshot(call, L"SnapshotSettingData", true); });
  host.RegisterMethod(L"Msvm_VirtualSystemSnapshotService", L"ConvertToReferencePoint",
                      ConvertToReferencePoint);
  host.RegisterMethod(L"Msvm_VirtualSystemReferencePointService", L"DestroyReferencePoint",
                      DestroyReferencePoint);
  host.RegisterMethod(
      L"Msvm_VirtualSystemManagementService", L"ModifySystemSettings", [](MethodCall& call) {
        return ModifyByText(call, L"SystemSettings", kJobModifySystem,
                            {L"InstanceID", L"ConfigurationID", L"VirtualSystemIdentifier",
                             L"VirtualSystemType", L"CreationTime", L"Parent"});
      });
  host.RegisterMethod(L"Msvm_VirtualSystemManagementService", L"ModifyDiskMergeSettings",
                      [](MethodCall& call) {
                        return ModifyByText(call, L"SettingData", 2, {L"InstanceID"}, kStartMerges);
                      });
  host.RegisterDeferred(kTakeSnapshot, TakeSnapshotNow);
  host.RegisterDeferred(kApplySnapshot, ApplySnapshotNow);
  host.RegisterDeferred(kDestroySnapshot, DestroySnapshotNow);
  host.RegisterDeferred(kConvertToReferencePoint, ConvertToReferencePointNow);
  host.RegisterDeferred(kDeleteObject, [](JobContext& job, const Deferred& work) {
    job.repository.Delete(job.Object(work, L"Object"));
  });
  host.RegisterDeferred(kApplySettingsText, ApplySettingsText);
  host.RegisterDeferred(kFinishMerges, FinishMerges);
}

}  // namespace quorvane::sim
