// Power state, deletion, records and the host's limits.
#include "capi/c_calls.h"

using namespace quorvane;
using namespace quorvane::capi;

namespace {

using MachineAction = void (IMachineManagement::*)(const wchar_t*);

qv_status ActOnMachine(qv_machine_management* management, MachineAction action,
                       const char* machineId) noexcept {
  return Act(management,
             [&](IMachineManagement& object) { (object.*action)(WideArgument(machineId).get()); });
}

}  // namespace

extern "C" {

void qv_machine_management_release(qv_machine_management* management) {
  delete management;
}

qv_status qv_machine_management_start(qv_machine_management* management, const char* machine_id) {
  return ActOnMachine(management, &IMachineManagement::Start, machine_id);
}

qv_status qv_machine_management_power_off(qv_machine_management* management,
                                          const char* machine_id) {
  return ActOnMachine(management, &IMachineManagement::PowerOff, machine_id);
}

qv_status qv_machine_management_save(qv_machine_management* management, const char* machine_id) {
  return ActOnMachine(management, &IMachineManagement::Save, machine_id);
}

qv_status qv_machine_management_delete_machine(qv_machine_management* management,
                                               const char* machine_id) {
  return ActOnMachine(management, &IMachineManagement::DeleteMachine, machine_id);
}

qv_status qv_machine_management_get_enabled_state(qv_machine_management* management,
                                                  const char* machine_id, uint32_t* out) {
  return GetValueFor(management, &IMachineManagement::GetEnabledState, machine_id, out);
}

qv_status qv_machine_management_get_operational_status(qv_machine_management* management,
                                                       const char* machine_id, uint32_t* out) {
  return GetValueFor(management, &IMachineManagement::GetOperationalStatus, machine_id, out);
}

qv_status qv_machine_management_get_machine_info(qv_machine_management* management,
                                                 const char* configuration_id,
                                                 qv_machine_info** out) {
  return MakeHandle(management, out, [&](IMachineManagement& object) {
    return object.GetMachineInfo(WideArgument(configuration_id).get());
  });
}

qv_status qv_machine_management_get_default_external_data_root(qv_machine_management* management,
                                                               const char** out) {
  return GetText(management, 0, &IMachineManagement::GetDefaultExternalDataRoot, out);
}

qv_status qv_machine_management_get_default_virtual_hard_disk_path(
    qv_machine_management* management, const char** out) {
  return GetText(management, 1, &IMachineManagement::GetDefaultVirtualHardDiskPath, out);
}

qv_status qv_machine_management_get_minimum_processor_count(qv_machine_management* management,
                                                            uint64_t* out) {
  return GetValue(management, &IMachineManagement::GetMinimumProcessorCount, out);
}

qv_status qv_machine_management_get_maximum_processor_count(qv_machine_management* management,
                                                            uint64_t* out) {
  return GetValue(management, &IMachineManagement::GetMaximumProcessorCount, out);
}

qv_status qv_machine_management_get_minimum_memory(qv_machine_management* management,
                                                   uint64_t* out) {
  return GetValue(management, &IMachineManagement::GetMinimumMemory, out);
}

qv_status qv_machine_management_get_maximum_memory(qv_machine_management* management,
                                                   uint64_t* out) {
  return GetValue(management, &IMachineManagement::GetMaximumMemory, out);
}

qv_status qv_machine_management_get_memory_increment(qv_machine_management* management,
                                                     uint64_t* out) {
  return GetValue(management, &IMachineManagement::GetMemoryIncrement, out);
}

}  // extern "C"
