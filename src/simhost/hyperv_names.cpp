#include "simhost/hyperv_names.h"

#include "util/case_insensitive.h"

namespace quorvane::sim {

JobClass JobClassOf(std::wstring_view serviceClass) {
  if (EqualsNoCase(serviceClass, L"Msvm_ImageManagementService")) {
    return {L"Msvm_StorageJob", L"Storage Job"};
  }
  return {L"Msvm_ConcreteJob", L"Job"};
}

const wchar_t* MachineStatusText(std::int32_t status) {
  switch (status) {
    case kStatusOk:
      return L"Operating normally";
    case 3:
      return L"Degraded";
    case 5:
      return L"Predictive Failure";
    case 10:
      return L"Stopped";
    case 11:
      return L"In Service";
    case 15:
      return L"Dormant";
    case 32768:
      return L"Creating Snapshot";
    case 32769:
      return L"Applying Snapshot";
    case 32770:
      return L"Deleting Snapshot";
    case 32771:
      return L"Waiting to Start";
    case kStatusMergingDisks:
      return L"Merging Disks";
    case 32773:
      return L"Exporting Virtual Machine";
    case 32774:
      return L"Migrating Virtual Machine";
    default:
      return L"";
  }
}

JobKind JobKindOf(std::uint16_t jobType) {
  switch (jobType) {
    case kJobDefineSystem:
      return {L"Creating", L"Creating Virtual Machine", kFailed};
    case kJobModifySystem:
      return {L"Modifying", L"Modifying Virtual Machine Settings", kFailed};
    case kJobDestroySystem:
      return {L"Deleting", L"Deleting Virtual Machine", kFailed};
    case kJobStart:
      return {L"Starting", L"Initializing and Starting Virtual Machine", kStartFailed};
    case kJobTurnOff:
      return {L"Turning Off", L"Turning Off Virtual Machine", kFailed};
    case kJobSave:
      return {L"Saving", L"Saving Virtual Machine", kFailed};
    case kJobRestore:
      return {L"Restoring", L"Initializing and Restoring Virtual Machine", kStartFailed};
    case kJobPause:
      return {L"Pausing", L"Pausing Virtual Machine", kFailed};
    case kJobResume:
      return {L"Resuming", L"Resuming Virtual Machine", kFailed};
    case kJobReset:
      return {L"Resetting", L"Resetting Virtual Machine", kFailed};
    case kJobReboot:
      return {L"Rebooting", L"Rebooting Virtual Machine", kFailed};
    case kJobAddResources:
      return {L"Adding Devices", L"Adding Devices to Virtual Machine", kFailed};
    case kJobModifyResources:
      return {L"Modifying Devices", L"Modifying Devices of Virtual Machine", kFailed};
    case kJobRemoveResources:
      return {L"Removing Devices", L"Removing Devices from Virtual Machine", kFailed};
    case kJobAddFeatures:
      return {L"Adding Features", L"Adding Features to Virtual Machine", kFailed};
    case kJobSnapshot:
      return {L"Creating Checkpoint", L"Creating Virtual Machine Checkpoint", kFailed};
    case kJobApplySnapshot:
      return {L"Applying Checkpoint", L"Applying Virtual Machine Checkpoint", kFailed};
    case kJobDeleteSnapshot:
      return {L"Deleting Checkpoint", L"Deleting Virtual Machine Checkpoint", kFailed};
    case kJobConvertToReferencePoint:
      return {L"Converting Checkpoint", L"Converting Checkpoint to Reference Point", kFailed};
    case kJobDeleteReferencePoint:
      return {L"Deleting Reference Point", L"Deleting Reference Point", kFailed};
    default:
      return {L"Job", L"Job", kFailed};
  }
}

}  // namespace quorvane::sim
