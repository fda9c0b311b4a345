#pragma once

/// @file
/// Power state, deletion and the host's limits.

#include <cstdint>

#include "quorvane/destroy.h"
#include "quorvane/inventory.h"

namespace quorvane {

/// Power state, deletion and machine records. Machines are named by the "Name" of their
/// Msvm_ComputerSystem (their "VirtualSystemIdentifier"). A name that matches no machine raises
/// VmNotFoundException, code 0xFFFFFFFF, "Cannot find machine: " and the name; a null name
/// raises DefaultException. The state changes block until Hyper-V's job ends. The paths and
/// limits were read when the object was made (IQuorvane::CreateMachineManagement), and their
/// strings stay valid while the object lives.
class IMachineManagement : public IDestroy {
 public:
  /// Starts the machine ("RequestStateChange" 2); nothing is sent when it already runs. A
  /// refusal comes back as Hyper-V gives it: the method's return value ("Wmi error on run
  /// method: " and the value) or the job's error code and description (32788 for a failed start).
  virtual void Start(const wchar_t* machine) = 0;
  /// Turns the machine off hard (3, not a guest shutdown), as Start does.
  virtual void PowerOff(const wchar_t* machine) = 0;
  /// Saves the machine's state (6), as Start does.
  virtual void Save(const wchar_t* machine) = 0;
  /// Deletes the machine with "DestroySystem", whatever its state.
  virtual void DeleteMachine(const wchar_t* machine) = 0;
  /// The machine's "EnabledState": 2 running, 3 off, 6 saved, 9 paused, and others.
  virtual std::uint32_t GetEnabledState(const wchar_t* machine) = 0;
  /// The machine's status: its second "OperationalStatus" entry when the first is 2 (OK), such
  /// as 32772 while disks merge; otherwise the first; 2 when there is none.
  virtual std::uint32_t GetOperationalStatus(const wchar_t* machine) = 0;
  /// The record of the settings whose "ConfigurationID" is `configurationId`: a machine's
  /// realized settings (whose "ConfigurationID" is the machine's identifier) or a checkpoint.
  /// Raises VmNotFoundException "Cannot find vm with id: " and the identifier.
  virtual IMachineInfo* GetMachineInfo(const wchar_t* configurationId) = 0;
  /// Where new machines go by default ("" when the host does not say).
  virtual const wchar_t* GetDefaultExternalDataRoot() = 0;
  /// Where new disks go by default ("" when the host does not say).
  virtual const wchar_t* GetDefaultVirtualHardDiskPath() = 0;
  /// The fewest virtual processors a machine may have (1 unless the limits were read).
  virtual std::uint64_t GetMinimumProcessorCount() = 0;
  /// The most virtual processors a machine may have (4 unless the limits were read).
  virtual std::uint64_t GetMaximumProcessorCount() = 0;
  /// The least memory of a machine, in megabytes (32 unless the limits were read).
  virtual std::uint64_t GetMinimumMemory() = 0;
  /// The most memory of a machine, in megabytes (1048576 unless the limits were read).
  virtual std::uint64_t GetMaximumMemory() = 0;
  /// The step of memory sizes, in megabytes (2 unless the limits were read).
  virtual std::uint64_t GetMemoryIncrement() = 0;
};

}  // namespace quorvane
