#include "snapshots/snapshot_management.h"

#include <memory>
#include <new>

#include "hyperv/machine_lookup.h"
#include "inventory/machine_enumerator.h"
#include "inventory/machine_info.h"
#include "quorvane/owned.h"
#include "snapshots/change_enumerator.h"
#include "snapshots/reference_points.h"
#include "util/creation.h"
#include "wmi/wmi_job.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

constexpr wchar_t kRecoverySystemType[] = L"Microsoft:Hyper-V:Snapshot:Recovery";
constexpr std::int64_t kRunning = 2;

std::wstring SnapshotId(const wchar_t* id) {
  return RequireText(id, L"Snapshot id");
}

}  // namespace

SnapshotManagement* SnapshotManagement::Create(WmiServicePtr service, std::wstring machineId) {
  return new (std::nothrow) SnapshotManagement(std::move(service), std::move(machineId));
}

void SnapshotManagement::CreateStandardSnapshot() {
  CreateSnapshotOfType(kStandardSnapshot, kApplicationConsistent);
}

std::int32_t SnapshotManagement::CreateRecoverySnapshot(bool allowFallback,
                                                        bool* applicationConsistentFailed) {
  const auto system = FindComputerSystem(*service_, machineId_);
  std::uint32_t level = system->GetProperty(L"EnabledState").AsInteger() == kRunning
                            ? kApplicationConsistent
                            : kCrashConsistent;
  while (true) {
    try {
      CreateSnapshotOfType(kRecoverySnapshot, level);
      return static_cast<std::int32_t>(level);
    } catch (...) {
      if (level == kCrashConsistent) {
        throw;
      }
      if (applicationConsistentFailed != nullptr) {
        *applicationConsistentFailed = true;
      }
      if (!allowFallback) {
        throw;
      }
      level = kCrashConsistent;
    }
  }
}

void SnapshotManagement::CreateSnapshotOfType(std::uint32_t snapshotType,
                                              std::uint32_t consistencyLevel) {
  const auto system = FindComputerSystem(*service_, machineId_);
  const auto snapshotService = service_->QueryFirst(L"Msvm_VirtualSystemSnapshotService");
  const auto method = snapshotService->CreateMethod(L"CreateSnapshot");
  std::wstring settingsText;
  if (snapshotType == kRecoverySnapshot) {
    const auto settings = service_->SpawnInstance(L"Msvm_VirtualSystemSnapshotSettingData");
    settings->SetProperty(L"ConsistencyLevel",
                          WmiValue::Int32(static_cast<std::int32_t>(consistencyLevel)));
    settings->SetProperty(L"IgnoreNonSnapshottableDisks", WmiValue::Boolean(true));
    settingsText = settings->GetText();
  }
  method->SetParameter(L"AffectedSystem", WmiValue::String(system->GetPath()));
  method->SetParameter(L"SnapshotType", WmiValue::Int32(static_cast<std::int32_t>(snapshotType)));
  method->SetParameter(L"SnapshotSettings", WmiValue::String(settingsText));
  WmiJob job(service_, method);
  job.Run();

  const std::wstring resultPath = method->GetOutParameter(L"ResultingSnapshot").AsWideString();
  const auto snapshot = resultPath.empty()
                            ? job.GetAffectedElement(L"Msvm_VirtualSystemSettingData")
                            : service_->GetObject(resultPath);
  if (!snapshot) {
    throw DefaultException(kLibraryErrorCode, L"Cannot find the new snapshot");
  }
  lastSnapshotId_ = ReadText(*snapshot, L"ConfigurationID");
  if (snapshotType == kRecoverySnapshot) {
    const std::wstring name = kRecoveryPrefix + ReadText(*snapshot, L"ElementName");
    RenameSnapshot(lastSnapshotId_.c_str(), name.c_str());
  }
}

bool SnapshotManagement::IsRecoverySnapshot(const wchar_t* snapshotId) {
  const std::wstring id = SnapshotId(snapshotId);
  const auto settings = FindSettingsByConfigurationId(*service_, id);
  if (ReadText(*settings, L"VirtualSystemType") != kRecoverySystemType) {
    return false;
  }
  // The record is needed only for its name.
  const auto info = Own(GetSnapshotInfo(id.c_str()));
  return info && std::wstring(info->GetName()).rfind(kRecoveryPrefix, 0) == 0;
}

void SnapshotManagement::RunOnSnapshot(const wchar_t* methodName, const wchar_t* parameter,
                                       const wchar_t* snapshotId) {
  const auto settings = FindCheckpointSettings(*service_, SnapshotId(snapshotId), machineId_);
  const auto snapshotService = service_->QueryFirst(L"Msvm_VirtualSystemSnapshotService");
  const auto method = snapshotService->CreateMethod(methodName);
  method->SetParameter(parameter, WmiValue::String(settings->GetPath()));
  WmiJob(service_, method).Run();
}

void SnapshotManagement::ApplySnapshot(const wchar_t* snapshotId) {
  RunOnSnapshot(L"ApplySnapshot", L"Snapshot", snapshotId);
}

void SnapshotManagement::DestroySnapshot(const wchar_t* snapshotId, bool withSubtree) {
  if (withSubtree) {
    RunOnSnapshot(L"DestroySnapshotTree", L"SnapshotSettingData", snapshotId);
  } else {
    RunOnSnapshot(L"DestroySnapshot", L"AffectedSnapshot", snapshotId);
  }
}

void SnapshotManagement::RenameSnapshot(const wchar_t* snapshotId, const wchar_t* name) {
  const std::wstring newName = RequireText(name, L"Snapshot name");
  const auto managementService = service_->QueryFirst(L"Msvm_VirtualSystemManagementService");
  const auto method = managementService->CreateMethod(L"ModifySystemSettings");
  const auto settings = FindCheckpointSettings(*service_, SnapshotId(snapshotId), machineId_);
  settings->SetProperty(L"ElementName", WmiValue::String(newName));
  service_->PutInstance(settings);
  method->SetParameter(L"SystemSettings", WmiValue::String(settings->GetText()));
  WmiJob(service_, method).Run();
}

IMachineInfo* SnapshotManagement::GetSnapshotInfo(const wchar_t* snapshotId) {
  return MachineInfo::Create(service_, SnapshotId(snapshotId), machineId_);
}

IMachineEnumerator* SnapshotManagement::EnumerateSnapshots() {
  // An empty identifier would list the host's machines instead of this machine's checkpoints.
  return MachineEnumerator::Create(service_, RequireNonEmpty(machineId_, L"Machine id"));
}

IChangeEnumerator* SnapshotManagement::GetChangeEnumerator(const wchar_t* changeTrackingId) {
  const std::wstring id = SnapshotId(changeTrackingId);
  if (!IsRecoverySnapshot(id.c_str())) {
    throw DefaultException(kNoChangeTrackingData,
                           L"There is no change tracking data available associated with the "
                           L"specified change tracking identifier");
  }
  return ChangeEnumerator::Create(service_, machineId_, id);
}

}  // namespace quorvane
