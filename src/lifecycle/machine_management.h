#pragma once

#include <string>

#include "quorvane/lifecycle.h"
#include "wmi/wmi.h"

namespace quorvane {

// The host's default paths and limits, with the values that hold when the host says nothing.
struct HostCapabilities {
  std::wstring defaultExternalDataRoot;
  std::wstring defaultVirtualHardDiskPath;
  std::uint64_t minimumProcessors = 1;
  std::uint64_t maximumProcessors = 4;
  std::uint64_t minimumMemory = 32;
  std::uint64_t maximumMemory = 1048576;
  std::uint64_t memoryIncrement = 2;
};

// Reads the default paths, and the processor and memory limits when `readLimits` is set.
void ReadHostCapabilities(IWmiService& service, bool readLimits, HostCapabilities& capabilities);

class MachineManagement final : public IMachineManagement {
 public:
  static MachineManagement* Create(WmiServicePtr service, bool readLimits);

  explicit MachineManagement(WmiServicePtr service) : service_(std::move(service)) {}

  void Release() override { delete this; }
  void Start(const wchar_t* machine) override;
  void PowerOff(const wchar_t* machine) override;
  void Save(const wchar_t* machine) override;
  void DeleteMachine(const wchar_t* machine) override;
  std::uint32_t GetEnabledState(const wchar_t* machine) override;
  std::uint32_t GetOperationalStatus(const wchar_t* machine) override;
  IMachineInfo* GetMachineInfo(const wchar_t* configurationId) override;
  const wchar_t* GetDefaultExternalDataRoot() override {
    return capabilities_.defaultExternalDataRoot.c_str();
  }
  const wchar_t* GetDefaultVirtualHardDiskPath() override {
    return capabilities_.defaultVirtualHardDiskPath.c_str();
  }
  std::uint64_t GetMinimumProcessorCount() override { return capabilities_.minimumProcessors; }
  std::uint64_t GetMaximumProcessorCount() override { return capabilities_.maximumProcessors; }
  std::uint64_t GetMinimumMemory() override { return capabilities_.minimumMemory; }
  std::uint64_t GetMaximumMemory() override { return capabilities_.maximumMemory; }
  std::uint64_t GetMemoryIncrement() override { return capabilities_.memoryIncrement; }

 private:
  // Asks for `requestedState` unless the machine is already in it.
  void ChangeState(const wchar_t* machine, std::uint32_t requestedState);

  WmiServicePtr service_;
  HostCapabilities capabilities_;
};

}  // namespace quorvane
