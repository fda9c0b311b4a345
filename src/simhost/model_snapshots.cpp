#include <algorithm>

#include "simhost/hyperv_model.h"

namespace quorvane::sim {
namespace {

constexpr std::int32_t kStatusOk = 2;
constexpr std::int32_t kMergingDisks = 32772;

void Unlink(Repository& repository, Repository::Id from, std::wstring_view association) {
  for (const auto& link : repository.LinksOf(from)) {
    if (repository.Contains(link.association) &&
        EqualsNoCase(repository.Get(link.association).cls->name, association)) {
      repository.Delete(link.association);
    }
  }
}

// Files the checkpoint owned merge into their parents: whatever used them uses the parent.
void MergeFiles(HostCore& host, const std::wstring& snapshotInstance) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  for (const auto& file : host.Disks().All()) {
    if (file.mergedWith != snapshotInstance || file.parentPath.empty()) {
      continue;
    }
    for (const auto id :
         v2.Enumerate(*Schema::Instance().FindClass(L"Msvm_StorageAllocationSettingData"))) {
      const auto files = v2.Property(id, L"HostResource").AsWideStringArray();
      if (!files.empty() && EqualsNoCase(files.front(), file.path)) {
        v2.Set(id, L"HostResource", WmiValue::Array(std::vector<std::wstring>{file.parentPath}));
      }
    }
    host.Disks().Merge(file.path);
  }
}

void ReportMerging(HostCore& host, Repository::Id machine) {
  if (host.Settings().mergeDurationMs == 0) {
    return;  // over before anyone could see it
  }
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring path = v2.FullPath(machine);
  v2.Set(machine, L"OperationalStatus",
         WmiValue::Array(std::vector<std::int32_t>{kStatusOk, kMergingDisks}));
  host.Schedule(host.Settings().mergeDurationMs, [path](HostCore& later) {
    Repository& repository = later.Namespace(kVirtualizationNamespace);
    if (const auto id = repository.Find(path)) {
      repository.Set(*id, L"OperationalStatus",
                     WmiValue::Array(std::vector<std::int32_t>{kStatusOk}));
    }
  });
}

}  // namespace

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
  const std::wstring instance = v2.Property(snapshot, L"InstanceID").AsWideString();

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
  MergeFiles(host, instance);
  ReportMerging(host, machine);
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
