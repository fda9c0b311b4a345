#pragma once

#include <string>

#include "editing/machine_settings.h"
#include "quorvane/editing.h"
#include "wmi/wmi_connect.h"

namespace quorvane {

// Changes an existing machine: only what was set, in a fixed order (system settings, memory and
// processors, disks, adapters, security), each step awaited; no rollback.
class MachineEditor final : public SettingsRecorder<IMachineEditor> {
 public:
  static MachineEditor* Create(ServiceMap services, std::wstring machineId);
  MachineEditor(ServiceMap services, std::wstring machineId)
      : services_(std::move(services)),
        service_(services_.at(kVirtualizationKey)),
        machineId_(std::move(machineId)) {}

  void Commit() override;
  const wchar_t* GetMachineId() override { return machineId_.c_str(); }

 private:
  void ModifySystem(IWmiObject& managementService, IWmiObject& settings);
  WmiServicePtr HostGuardian() const;

  ServiceMap services_;
  WmiServicePtr service_;
  std::wstring machineId_;
};

}  // namespace quorvane
