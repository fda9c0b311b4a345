#pragma once

#include <cstdint>

#include "quorvane/destroy.h"
#include "quorvane/inventory.h"

namespace quorvane {

// Power state, deletion and the host's limits. Machines are named by the "Name" of their
// Msvm_ComputerSystem (their "VirtualSystemIdentifier").
class IMachineManagement : public IDestroy {
 public:
  virtual void Start(const wchar_t* machine) = 0;
  virtual void PowerOff(const wchar_t* machine) = 0;
  virtual void Save(const wchar_t* machine) = 0;
  virtual void DeleteMachine(const wchar_t* machine) = 0;
  virtual std::uint32_t GetEnabledState(const wchar_t* machine) = 0;
  virtual std::uint32_t GetOperationalStatus(const wchar_t* machine) = 0;
  // Takes a "ConfigurationID".
  virtual IMachineInfo* GetMachineInfo(const wchar_t* configurationId) = 0;
  virtual const wchar_t* GetDefaultExternalDataRoot() = 0;
  virtual const wchar_t* GetDefaultVirtualHardDiskPath() = 0;
  virtual std::uint64_t GetMinimumProcessorCount() = 0;
  virtual std::uint64_t GetMaximumProcessorCount() = 0;
  // Megabytes.
  virtual std::uint64_t GetMinimumMemory() = 0;
  virtual std::uint64_t GetMaximumMemory() = 0;
  virtual std::uint64_t GetMemoryIncrement() = 0;
};

}  // namespace quorvane
