#pragma once

/// @file
/// Defining new machines and editing existing ones.

#include <cstdint>

#include "quorvane/destroy.h"

namespace quorvane {

/// Records changes to a machine; Commit() applies them. Setters only record (they call no WMI)
/// and copy the strings they are given; a null string raises DefaultException. Only what was
/// set is changed; disks and adapters, when any are given, replace the machine's own. Commit()
/// blocks for each step's Hyper-V job and stops at the first failure, leaving the earlier steps
/// applied.
class IMachineEditor : public IDestroy {
 public:
  /// The machine's "ElementName".
  virtual void SetName(const wchar_t* name) = 0;
  /// Startup memory in megabytes; 0 means 1024.
  virtual void SetMemorySize(std::uint64_t megabytes) = 0;
  /// Dynamic memory on or off.
  virtual void SetDynamicMemory(bool enabled) = 0;
  /// Virtual processors; 0 means 1.
  virtual void SetProcessorCount(std::uint64_t count) = 0;
  /// A network adapter on the switch whose identifier (IEthernetSwithEnumerator::GetId()) is
  /// `switchName`, in VLAN `vlanId` (access mode). An unknown switch raises DefaultException
  /// "Cannot find switch" on Commit().
  virtual void AddNetworkAdapterWithVlan(const wchar_t* switchName, std::uint32_t vlanId) = 0;
  /// A network adapter on the switch whose identifier is `switchName`, without a VLAN.
  virtual void AddNetworkAdapter(const wchar_t* switchName) = 0;
  /// A network adapter connected to no switch.
  virtual void AddDisconnectedNetworkAdapter() = 0;
  /// Secure boot on or off (generation 2 machines).
  virtual void SetSecureBoot(bool enabled) = 0;
  /// Generation 1 only: the first disk goes on IDE, the others on SCSI.
  virtual void SetScsiDataDisks(bool enabled) = 0;
  /// A virtual hard disk file to attach, in call order: IDE first on generation 1 (unless
  /// SetScsiDataDisks), then SCSI, adding SCSI controllers as needed.
  virtual void AddDisk(const wchar_t* path) = 0;
  /// Applies what was recorded: the system settings, memory and processors, disks, adapters
  /// and VLANs, and for a machine with TPM or shielding, a new key protector. May be called
  /// again. An editor's machine that does not exist raises VmNotFoundException.
  virtual void Commit() = 0;
  /// The machine's identifier: for an editor, the one it was made for; for a builder, the new
  /// machine's after a successful Commit() ("" before). Valid until the next Commit() or
  /// Release().
  virtual const wchar_t* GetMachineId() = 0;
};

/// Defines a new machine on Commit() ("DefineSystem", then the steps of the editor);
/// GetMachineId() names it afterwards. Everything not set takes Hyper-V's default.
class IMachineBuilder : public IMachineEditor {
 public:
  /// The configuration version, such as "9.0"; Hyper-V's default when not set.
  virtual void SetVersion(const wchar_t* version) = 0;
  /// Generation 2 (UEFI) instead of 1.
  virtual void SetGeneration2(bool enabled) = 0;
  /// The folder of the machine's configuration; Hyper-V's default when not set.
  virtual void SetConfigurationDataRoot(const wchar_t* path) = 0;
  /// The folder of checkpoint files; Hyper-V's default when not set.
  virtual void SetSnapshotDataRoot(const wchar_t* path) = 0;
};

}  // namespace quorvane
