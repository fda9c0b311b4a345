// Machine records and the enumerators of machines, disks and switches.
#include "capi/c_calls.h"

using namespace quorvane;
using namespace quorvane::capi;

extern "C" {

void qv_machine_info_release(qv_machine_info* info) {
  delete info;
}

qv_status qv_machine_info_get_name(qv_machine_info* info, const char** out) {
  return GetText(info, 0, &IMachineInfo::GetName, out);
}

qv_status qv_machine_info_get_memory(qv_machine_info* info, int64_t* out) {
  return GetValue(info, &IMachineInfo::GetMemory, out);
}

qv_status qv_machine_info_get_processor_count(qv_machine_info* info, int64_t* out) {
  return GetValue(info, &IMachineInfo::GetProcessorCount, out);
}

qv_status qv_machine_info_get_creation_time(qv_machine_info* info, int64_t* out) {
  return GetValue(info, &IMachineInfo::GetCreationTime, out);
}

qv_status qv_machine_info_get_version(qv_machine_info* info, const char** out) {
  return GetText(info, 1, &IMachineInfo::GetVersion, out);
}

qv_status qv_machine_info_get_configuration_id(qv_machine_info* info, const char** out) {
  return GetText(info, 2, &IMachineInfo::GetConfigurationId, out);
}

qv_status qv_machine_info_get_parent_id(qv_machine_info* info, const char** out) {
  return GetText(info, 3, &IMachineInfo::GetParentId, out);
}

qv_status qv_machine_info_get_id(qv_machine_info* info, const char** out) {
  return GetText(info, 4, &IMachineInfo::GetId, out);
}

qv_status qv_machine_info_get_configuration_data_root(qv_machine_info* info, const char** out) {
  return GetText(info, 5, &IMachineInfo::GetConfigurationDataRoot, out);
}

qv_status qv_machine_info_get_configuration_file(qv_machine_info* info, const char** out) {
  return GetText(info, 6, &IMachineInfo::GetConfigurationFile, out);
}

qv_status qv_machine_info_get_guest_state_data_root(qv_machine_info* info, const char** out) {
  return GetText(info, 7, &IMachineInfo::GetGuestStateDataRoot, out);
}

qv_status qv_machine_info_get_guest_state_file(qv_machine_info* info, const char** out) {
  return GetText(info, 8, &IMachineInfo::GetGuestStateFile, out);
}

qv_status qv_machine_info_get_snapshot_data_root(qv_machine_info* info, const char** out) {
  return GetText(info, 9, &IMachineInfo::GetSnapshotDataRoot, out);
}

qv_status qv_machine_info_is_generation2(qv_machine_info* info, int* out) {
  return GetValue(info, &IMachineInfo::IsGeneration2, out);
}

qv_status qv_machine_info_is_version_62_or_later(qv_machine_info* info, int* out) {
  return GetValue(info, &IMachineInfo::IsVersion62OrLater, out);
}

qv_status qv_machine_info_create_disk_enumerator(qv_machine_info* info, int include_dvd,
                                                 qv_disk_enumerator** out) {
  return MakeHandle(info, out, [&](IMachineInfo& object) {
    return object.CreateDiskEnumerator(include_dvd != 0);
  });
}

void qv_machine_enumerator_release(qv_machine_enumerator* machines) {
  delete machines;
}

qv_status qv_machine_enumerator_reset(qv_machine_enumerator* machines) {
  return Act(machines, [](IMachineEnumerator& object) { object.Reset(); });
}

qv_status qv_machine_enumerator_next(qv_machine_enumerator* machines, int* has_entry) {
  return GetValue(machines, &IMachineEnumerator::Next, has_entry);
}

qv_status qv_machine_enumerator_get_name(qv_machine_enumerator* machines, const char** out) {
  return GetText(machines, 0, &IMachineEnumerator::GetName, out);
}

qv_status qv_machine_enumerator_get_creation_time(qv_machine_enumerator* machines, int64_t* out) {
  return GetValue(machines, &IMachineEnumerator::GetCreationTime, out);
}

qv_status qv_machine_enumerator_get_id(qv_machine_enumerator* machines, const char** out) {
  return GetText(machines, 1, &IMachineEnumerator::GetId, out);
}

qv_status qv_machine_enumerator_get_parent_id(qv_machine_enumerator* machines, const char** out) {
  return GetText(machines, 2, &IMachineEnumerator::GetParentId, out);
}

qv_status qv_machine_enumerator_get_machine_info(qv_machine_enumerator* machines,
                                                 qv_machine_info** out) {
  return MakeHandle(machines, out,
                    [](IMachineEnumerator& object) { return object.GetMachineInfo(); });
}

void qv_disk_enumerator_release(qv_disk_enumerator* disks) {
  delete disks;
}

qv_status qv_disk_enumerator_reset(qv_disk_enumerator* disks) {
  return Act(disks, [](IDiskEnumerator& object) { object.Reset(); });
}

qv_status qv_disk_enumerator_next(qv_disk_enumerator* disks, int* has_entry) {
  return GetValue(disks, &IDiskEnumerator::Next, has_entry);
}

qv_status qv_disk_enumerator_get_disk_id(qv_disk_enumerator* disks, const char** out) {
  return GetText(disks, 0, &IDiskEnumerator::GetDiskId, out);
}

qv_status qv_disk_enumerator_get_path(qv_disk_enumerator* disks, const char** out) {
  return GetText(disks, 1, &IDiskEnumerator::GetPath, out);
}

qv_status qv_disk_enumerator_get_base_disk_id(qv_disk_enumerator* disks, const char** out) {
  return GetText(disks, 2, &IDiskEnumerator::GetBaseDiskId, out);
}

qv_status qv_disk_enumerator_get_base_path(qv_disk_enumerator* disks, const char** out) {
  return GetText(disks, 3, &IDiskEnumerator::GetBasePath, out);
}

qv_status qv_disk_enumerator_get_max_internal_size(qv_disk_enumerator* disks, int64_t* out) {
  return GetValue(disks, &IDiskEnumerator::GetMaxInternalSize, out);
}

qv_status qv_disk_enumerator_is_dvd(qv_disk_enumerator* disks, uint32_t* out) {
  return GetValue(disks, &IDiskEnumerator::IsDvd, out);
}

qv_status qv_disk_enumerator_get_format(qv_disk_enumerator* disks, uint32_t* out) {
  return GetValue(disks, &IDiskEnumerator::GetFormat, out);
}

qv_status qv_disk_enumerator_is_on_scsi(qv_disk_enumerator* disks, int* out) {
  return GetValue(disks, &IDiskEnumerator::IsOnScsi, out);
}

qv_status qv_disk_enumerator_get_controller_address(qv_disk_enumerator* disks, uint32_t* out) {
  return GetValue(disks, &IDiskEnumerator::GetControllerAddress, out);
}

qv_status qv_disk_enumerator_get_location(qv_disk_enumerator* disks, uint32_t* out) {
  return GetValue(disks, &IDiskEnumerator::GetLocation, out);
}

qv_status qv_disk_enumerator_get_disk_change_enumerator(qv_disk_enumerator* disks,
                                                        const char* change_tracking_id,
                                                        qv_disk_change_enumerator** out) {
  return MakeHandle(disks, out, [&](IDiskEnumerator& object) {
    return object.GetDiskChangeEnumerator(WideArgument(change_tracking_id).get());
  });
}

void qv_switch_enumerator_release(qv_switch_enumerator* switches) {
  delete switches;
}

qv_status qv_switch_enumerator_reset(qv_switch_enumerator* switches) {
  return Act(switches, [](IEthernetSwithEnumerator& object) { object.Reset(); });
}

qv_status qv_switch_enumerator_next(qv_switch_enumerator* switches, int* has_entry) {
  return GetValue(switches, &IEthernetSwithEnumerator::Next, has_entry);
}

qv_status qv_switch_enumerator_get_name(qv_switch_enumerator* switches, const char** out) {
  return GetText(switches, 0, &IEthernetSwithEnumerator::GetName, out);
}

qv_status qv_switch_enumerator_get_id(qv_switch_enumerator* switches, const char** out) {
  return GetText(switches, 1, &IEthernetSwithEnumerator::GetId, out);
}

}  // extern "C"
