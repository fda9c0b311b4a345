#include "snapshots/reference_points.h"

#include "hyperv/hyperv_names.h"
#include "hyperv/machine_disks.h"
#include "hyperv/machine_lookup.h"
#include "hyperv/machine_state.h"
#include "quorvane/exceptions.h"
#include "wmi/wmi_job.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

constexpr std::int32_t kMergeEnabled = 1;

// Runs the conversion, retrying while Hyper-V refuses it in the machine's current state; every
// refusal is followed by a pause, the last one too. After the last refusal that refusal is
// raised: there is nothing to read without a reference point.
void ConvertWithRetries(const WmiServicePtr& service, WmiJob& job) {
  for (int attempt = 1;; ++attempt) {
    try {
      job.Run();
      return;
    } catch (const DefaultException& e) {
      if (e.GetErrorCode() != hyperv::kInvalidState) {
        throw;
      }
      service->Wait(kConversionRetryPauseMs);
      if (attempt == kConversionAttempts) {
        throw;
      }
    }
  }
}

void WaitForMerge(IWmiService& service, const std::wstring& machineId) {
  for (int pass = 0; pass < kMergeWaitPasses; ++pass) {
    if (QueryOperationalStatus(service, machineId) != kMergingDisksStatus) {
      return;
    }
    service.Wait(kMergeWaitPauseMs);
  }
}

// Hosts name a reference point's disks either by the disk's "VirtualDiskId" or by the
// InstanceID of its storage allocation settings; either names the disk.
bool NamesDisk(const std::wstring& identifier, const DiskDescription& disk) {
  return identifier == disk.diskId || (!disk.instanceId.empty() && identifier == disk.instanceId);
}

// Pairs disks and identifiers by position, the i-th matched disk with the i-th identifier: a
// reference point disk that is no longer attached shifts the later pairs.
std::vector<std::pair<std::wstring, std::wstring>> PairDisks(
    IWmiObject& referencePoint, const std::vector<DiskDescription>& disks) {
  std::vector<std::wstring> matched;
  for (const auto& identifier :
       referencePoint.GetProperty(L"VirtualDiskIdentifiers").AsWideStringArray()) {
    for (const auto& disk : disks) {
      if (NamesDisk(identifier, disk)) {
        matched.push_back(disk.diskId);
        break;
      }
    }
  }
  const auto trackingIds =
      referencePoint.GetProperty(L"ResilientChangeTrackingIdentifiers").AsWideStringArray();
  std::vector<std::pair<std::wstring, std::wstring>> pairs;
  for (std::size_t i = 0; i < matched.size() && i < trackingIds.size(); ++i) {
    pairs.emplace_back(matched[i], trackingIds[i]);
  }
  return pairs;
}

}  // namespace

WmiObjectPtr FindComputerSystem(IWmiService& service, const std::wstring& machineId) {
  const auto settings = FindRealizedSettingsBySystemId(service, machineId);
  const auto systems = settings->GetAssociatorsOfClass(L"Msvm_ComputerSystem");
  if (systems.empty()) {
    throw VmNotFoundException(kLibraryErrorCode,
                              (L"Cannot find Msvm_ComputerSystem with id: " + machineId).c_str());
  }
  return systems.front();
}

void ModifyDiskMergeSettings(const WmiServicePtr& service, const std::wstring& machineId) {
  const auto system = FindComputerSystem(*service, machineId);
  const auto mergeSettings = system->GetAssociatorsOfClass(L"Msvm_DiskMergeSettingData");
  if (mergeSettings.empty()) {
    return;
  }
  mergeSettings.front()->SetProperty(L"EnabledState", WmiValue::Int32(kMergeEnabled));
  const auto managementService = service->QueryFirst(L"Msvm_VirtualSystemManagementService");
  const auto method = managementService->CreateMethod(L"ModifyDiskMergeSettings");
  method->SetParameter(L"SettingData", WmiValue::String(mergeSettings.front()->GetText()));
  WmiJob(service, method).Run();
}

void DestroyReferencePoint(const WmiServicePtr& service, IWmiObject& referencePoint) {
  const auto services =
      service->ExecQuery(L"Select * from Msvm_VirtualSystemReferencePointService");
  if (services.empty()) {
    throw VmNotFoundException(kLibraryErrorCode,
                              L"Cannot find Msvm_VirtualSystemReferencePointService");
  }
  const auto method = services.front()->CreateMethod(L"DestroyReferencePoint");
  method->SetParameter(L"AffectedReferencePoint", WmiValue::String(referencePoint.GetPath()));
  WmiJob(service, method).Run();
}

std::vector<std::pair<std::wstring, std::wstring>> CollectChangeTrackingIds(
    const WmiServicePtr& service, const std::wstring& machineId, const std::wstring& snapshotId) {
  ModifyDiskMergeSettings(service, machineId);
  const auto snapshotService = service->QueryFirst(L"Msvm_VirtualSystemSnapshotService");
  const auto method = snapshotService->CreateMethod(L"ConvertToReferencePoint");
  const auto snapshot = FindSettingsByConfigurationId(*service, snapshotId);
  method->SetParameter(L"AffectedSnapshot", WmiValue::String(snapshot->GetPath()));
  WmiJob job(service, method);
  ConvertWithRetries(service, job);

  const std::wstring resultPath =
      method->GetOutParameter(L"ResultingReferencePoint").AsWideString();
  const auto referencePoint = resultPath.empty()
                                  ? job.GetAffectedElement(L"Msvm_VirtualSystemReferencePoint")
                                  : service->GetObject(resultPath);
  if (!referencePoint) {
    throw DefaultException(kLibraryErrorCode, L"Cannot find Msvm_VirtualSystemReferencePoint");
  }
  WaitForMerge(*service, machineId);
  const auto settings = FindRealizedSettingsBySystemId(*service, machineId);
  const auto pairs = PairDisks(*referencePoint, ListMachineDisks(*service, *settings, false));
  DestroyReferencePoint(service, *referencePoint);
  return pairs;
}

}  // namespace quorvane
