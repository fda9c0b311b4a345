#include <algorithm>

#include "simhost/hyperv_model.h"

namespace quorvane::sim {
namespace {

void Unlink(Repository& repository, Repository::Id from, std::wstring_view association) {
  for (const auto& link : repository.LinksOf(from)) {
    if (repository.Contains(link.association) &&
        EqualsNoCase(repository.Get(link.association).cls->name, association)) {
      repository.Delete(link.association);
    }
  }
}

// The differencing files the machine runs on whose checkpoint is gone: they wait to be merged
// into their parents.
std::vector<std::wstring> PendingMerges(HostCore& host, Repository::Id machine) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  std::vector<std::wstring> pending;
  const auto realized = RealizedSettingsOf(v2, machine);
  if (!realized) {
    return pending;
  }
  for (const auto part : PartsOf(v2, *realized)) {
    const auto files = v2.Property(part, L"HostResource").AsWideStringArray();
    const VirtualDisk* file = files.empty() ? nullptr : host.Disks().Find(files.front());
    // A chain is bounded by the number of files, whatever its parents say.
    for (std::size_t steps = 0; file != nullptr && steps <= host.Disks().Count(); ++steps) {
      if (!file->mergedWith.empty() && !file->parentPath.empty() &&
          !v2.Find(FormatRelativePath(L"Msvm_VirtualSystemSettingData",
                                      {{L"InstanceID", file->mergedWith}}))) {
        pending.push_back(file->path);
      }
      file = host.Disks().Find(file->parentPath);
    }
  }
  return pending;
}

// The file merges into its parent: whatever used it uses the parent.
void MergeFile(HostCore& host, const std::wstring& path) {
  const VirtualDisk* file = host.Disks().Find(path);
  if (file == nullptr || file->parentPath.empty()) {
    return;
  }
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  for (const auto id :
       v2.Enumerate(*Schema::Instance().FindClass(L"Msvm_StorageAllocationSettingData"))) {
    const auto files = v2.Property(id, L"HostResource").AsWideStringArray();
    if (!files.empty() && EqualsNoCase(files.front(), path)) {
      v2.Set(id, L"HostResource", WmiValue::Array(std::vector<std::wstring>{file->parentPath}));
    }
  }
  host.Disks().Merge(path);
}

void MergePending(HostCore& host, Repository::Id machine) {
  for (const auto& path : PendingMerges(host, machine)) {
    MergeFile(host, path);
  }
}

void SetMerging(Repository& v2, Repository::Id machine, bool merging) {
  std::vector<std::int32_t> status = {kStatusOk};
  if (merging) {
    status.push_back(kStatusMergingDisks);
  }
  SetMachineStatus(v2, machine, status);
}

}  // namespace

bool MergesEnabled(const Repository& repository, Repository::Id machine) {
  for (const auto settings :
       LinkedEnds(repository, machine, L"Msvm_ElementSettingData", L"ManagedElement")) {
    if (EqualsNoCase(repository.Get(settings).cls->name, L"Msvm_DiskMergeSettingData") &&
        repository.Property(settings, L"EnabledState").AsInteger() == 0) {
      return false;
    }
  }
  return true;
}

bool IsMerging(const Repository& repository, Repository::Id machine) {
  for (const auto& status : repository.Property(machine, L"OperationalStatus").Elements()) {
    if (status.AsInteger() == kStatusMergingDisks) {
      return true;
    }
  }
  return false;
}

void StartMerges(HostCore& host, Repository::Id machine) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  if (!MergesEnabled(v2, machine) || PendingMerges(host, machine).empty()) {
    return;
  }
  if (host.Settings().mergeDurationMs == 0) {
    MergePending(host, machine);  // over before anyone could see it
    return;
  }
  SetMerging(v2, machine, true);
  host.Schedule(host.Settings().mergeDurationMs, kVirtualizationNamespace,
                {kFinishMerges, {{L"Machine", v2.RelativePath(machine)}}});
}

void FinishMerges(JobContext& context, const Deferred& work) {
  if (const auto machine = context.repository.Find(work.Argument(L"Machine"))) {
    MergePending(context.host, *machine);
    SetMerging(context.repository, *machine, false);
  }
}

std::vector<Repository::Id> SnapshotsOf(const Repository& repository, Repository::Id machine) {
  return LinkedEnds(repository, machine, L"Msvm_SnapshotOfVirtualSystem", L"Antecedent");
}

std::optional<Repository::Id> MachineOf(const Repository& repository, Repository::Id settings) {
  for (const auto* association : {L"Msvm_SettingsDefineState", L"Msvm_SnapshotOfVirtualSystem"}) {
    for (const auto& link : repository.LinksOf(settings)) {
      if (EqualsNoCase(repository.Get(link.association).cls->name, association) &&
          EqualsNoCase(repository.Get(link.endpoint).cls->name, L"Msvm_ComputerSystem")) {
        return link.endpoint;
      }
    }
  }
  return std::nullopt;
}

void RemoveSnapshot(HostCore& host, Repository::Id machine, Repository::Id snapshot) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring path = v2.FullPath(snapshot);
  const WmiValue parentPath = v2.Property(snapshot, L"Parent");
  const auto parent = v2.Find(parentPath.AsWideString());

  std::vector<Repository::Id> children = SnapshotsOf(v2, machine);
  if (const auto realized = RealizedSettingsOf(v2, machine)) {
    children.push_back(*realized);
  }
  const auto current = LinkedEnds(v2, machine, L"Msvm_MostCurrentSnapshotInBranch", L"Antecedent");
  const bool wasCurrent = !current.empty() && current.front() == snapshot;
  for (const auto part : PartsOf(v2, snapshot)) {
    v2.Delete(part);
  }
  v2.Delete(snapshot);
  for (const auto child : children) {
    if (child == snapshot || !v2.Contains(child) ||
        !EqualsNoCase(v2.Property(child, L"Parent").AsWideString(), path)) {
      continue;
    }
    v2.Set(child, L"Parent", parentPath);
    if (parent) {
      v2.Associate(L"Msvm_ParentChildSettingData", L"Antecedent", *parent, L"Dependent", child);
    }
  }
  if (wasCurrent && parent) {
    Unlink(v2, machine, L"Msvm_MostCurrentSnapshotInBranch");
    v2.Associate(L"Msvm_MostCurrentSnapshotInBranch", L"Antecedent", machine, L"Dependent",
                 *parent);
  }
  StartMerges(host, machine);
}

void DestroyMachine(Repository& repository, Repository::Id machine) {
  std::vector<Repository::Id> settings = SnapshotsOf(repository, machine);
  if (const auto realized = RealizedSettingsOf(repository, machine)) {
    settings.push_back(*realized);
  }
  for (const auto merge :
       LinkedEnds(repository, machine, L"Msvm_ElementSettingData", L"ManagedElement")) {
    repository.Delete(merge);
  }
  for (const auto each : settings) {
    for (const auto part : PartsOf(repository, each)) {
      repository.Delete(part);
    }
    repository.Delete(each);
  }
  repository.Delete(machine);
}

}  // namespace quorvane::sim
