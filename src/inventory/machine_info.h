#pragma once

#include <optional>
#include <string>

#include "quorvane/inventory.h"
#include "wmi/wmi.h"

namespace quorvane {

// "%u.%u" from 6.2 on; text that does not parse keeps zeros for what is missing.
bool IsVersion62OrLater(const std::wstring& version);

// The settings of one machine or checkpoint, read once at creation; never writes to WMI.
class MachineInfo final : public IMachineInfo {
 public:
  // Null when memory is short; a failed load raises and leaves nothing behind.
  // With `checkpointOf`, an id that names no checkpoint of that machine is refused.
  static MachineInfo* Create(WmiServicePtr service, std::wstring configurationId,
                             std::optional<std::wstring> checkpointOf = std::nullopt);

  MachineInfo(WmiServicePtr service, std::wstring id, std::optional<std::wstring> checkpointOf)
      : service_(std::move(service)), id_(std::move(id)), checkpointOf_(std::move(checkpointOf)) {}

  void Release() override { delete this; }
  const wchar_t* GetName() override { return name_.c_str(); }
  std::int64_t GetMemory() override { return memory_; }
  std::int64_t GetProcessorCount() override { return processors_; }
  std::int64_t GetCreationTime() override { return creationTime_; }
  const wchar_t* GetVersion() override { return version_.c_str(); }
  const wchar_t* GetConfigurationId() override { return configurationId_.c_str(); }
  const wchar_t* GetParentId() override { return parentId_.c_str(); }
  const wchar_t* GetId() override { return id_.c_str(); }
  const wchar_t* GetConfigurationDataRoot() override { return configurationDataRoot_.c_str(); }
  const wchar_t* GetConfigurationFile() override { return configurationFile_.c_str(); }
  const wchar_t* GetGuestStateDataRoot() override { return guestStateDataRoot_.c_str(); }
  const wchar_t* GetGuestStateFile() override { return guestStateFile_.c_str(); }
  const wchar_t* GetSnapshotDataRoot() override { return snapshotDataRoot_.c_str(); }
  bool IsGeneration2() override { return isGeneration2_; }
  bool IsVersion62OrLater() override { return quorvane::IsVersion62OrLater(version_); }
  IDiskEnumerator* CreateDiskEnumerator(bool includeDvd) override;

 private:
  void Load();

  WmiServicePtr service_;
  std::wstring id_;
  std::optional<std::wstring> checkpointOf_;
  std::wstring name_;
  std::int64_t memory_ = 0;
  std::int64_t processors_ = 0;
  std::wstring version_;
  std::wstring configurationId_;
  std::wstring parentId_;
  std::wstring snapshotDataRoot_;
  std::wstring guestStateFile_;
  std::wstring guestStateDataRoot_;
  std::wstring configurationFile_;
  std::wstring configurationDataRoot_;
  bool isGeneration2_ = false;
  std::int64_t creationTime_ = 0;
};

}  // namespace quorvane
