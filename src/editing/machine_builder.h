#pragma once

#include <string>

#include "editing/machine_settings.h"
#include "quorvane/editing.h"
#include "wmi/wmi.h"

namespace quorvane {

// Defines a new machine from what was recorded: "DefineSystem", then disks, processors and
// memory, then network adapters, in that order, each awaited; no rollback.
class MachineBuilder final : public SettingsRecorder<IMachineBuilder> {
 public:
  static MachineBuilder* Create(WmiServicePtr service);
  explicit MachineBuilder(WmiServicePtr service) : service_(std::move(service)) {}

  void Commit() override;
  const wchar_t* GetMachineId() override { return machineId_.c_str(); }
  void SetVersion(const wchar_t* version) override {
    settings_.version = Text(version, L"Version");
  }
  void SetGeneration2(bool enabled) override { settings_.generation2 = enabled; }
  void SetConfigurationDataRoot(const wchar_t* path) override {
    settings_.configurationDataRoot = Text(path, L"Configuration data root");
  }
  void SetSnapshotDataRoot(const wchar_t* path) override {
    settings_.snapshotDataRoot = Text(path, L"Snapshot data root");
  }

 private:
  // The new machine's settings as recorded (not yet defined).
  WmiObjectPtr NewSystemSettings();
  // "DefineSystem" with those settings; the new computer system.
  WmiObjectPtr DefineSystem(IWmiObject& managementService, IWmiObject& system);

  WmiServicePtr service_;
  std::wstring machineId_;
};

}  // namespace quorvane
