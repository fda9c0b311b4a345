#pragma once

/// @file
/// Machines, checkpoints, their disks and the host's switches, as records and enumerators.

#include <cstdint>

#include "quorvane/destroy.h"

namespace quorvane {

class IDiskEnumerator;
class IDiskChangeEnumerator;

/// The settings of one machine or checkpoint, read once when the record is made. Only
/// CreateDiskEnumerator() calls WMI again. Strings are never null ("" when the host gives
/// nothing) and stay valid while the record lives.
class IMachineInfo : public IDestroy {
 public:
  /// "ElementName".
  virtual const wchar_t* GetName() = 0;
  /// Startup memory in megabytes; 0 when the host gives none.
  virtual std::int64_t GetMemory() = 0;
  /// Virtual processors; 0 when the host gives none.
  virtual std::int64_t GetProcessorCount() = 0;
  /// FILETIME count (100 ns since 1601-01-01); 0 when unknown.
  virtual std::int64_t GetCreationTime() = 0;
  /// Configuration version, such as "10.0".
  virtual const wchar_t* GetVersion() = 0;
  /// "ConfigurationID" as the host gives it back.
  virtual const wchar_t* GetConfigurationId() = 0;
  /// The checkpoint this one was taken from, or that the machine runs on from; "" when there
  /// is none.
  virtual const wchar_t* GetParentId() = 0;
  /// The identifier the record was asked for, as given.
  virtual const wchar_t* GetId() = 0;
  /// "ConfigurationDataRoot".
  virtual const wchar_t* GetConfigurationDataRoot() = 0;
  /// "ConfigurationFile".
  virtual const wchar_t* GetConfigurationFile() = 0;
  /// "GuestStateDataRoot".
  virtual const wchar_t* GetGuestStateDataRoot() = 0;
  /// "GuestStateFile".
  virtual const wchar_t* GetGuestStateFile() = 0;
  /// "SnapshotDataRoot".
  virtual const wchar_t* GetSnapshotDataRoot() = 0;
  /// Whether "VirtualSystemSubType" is "Microsoft:Hyper-V:SubType:2".
  virtual bool IsGeneration2() = 0;
  /// Whether the configuration version is 6.2 or later.
  virtual bool IsVersion62OrLater() = 0;
  /// The virtual disks of this machine or checkpoint (and their DVD media with
  /// `includeDvd`), read now; raises the WMI status of a failed call.
  virtual IDiskEnumerator* CreateDiskEnumerator(bool includeDvd) = 0;
};

/// The machines of a host, or the checkpoints of one machine, read when the enumerator is
/// made and again on Reset(). Planned machines are not listed.
class IMachineEnumerator : public IEnumerator {
 public:
  /// "ElementName" of the entry.
  virtual const wchar_t* GetName() = 0;
  /// FILETIME count (100 ns since 1601-01-01); 0 when unknown.
  virtual std::int64_t GetCreationTime() = 0;
  /// "ConfigurationID" of the entry: for a machine, its identifier.
  virtual const wchar_t* GetId() = 0;
  /// "ConfigurationID" of the checkpoint the entry was taken from or runs on from; "" when
  /// there is none.
  virtual const wchar_t* GetParentId() = 0;
  /// The entry's record, read now (see IMachineManagement::GetMachineInfo).
  virtual IMachineInfo* GetMachineInfo() = 0;
};

/// The virtual disks (and optionally DVD media) of one machine or checkpoint, read when the
/// enumerator is made and again on Reset().
class IDiskEnumerator : public IEnumerator {
 public:
  /// The disk's identifier, which IChangeEnumerator::GetDiskId() also gives.
  virtual const wchar_t* GetDiskId() = 0;
  /// The disk or image file the machine uses.
  virtual const wchar_t* GetPath() = 0;
  /// "VirtualDiskId" of the root of the disk's differencing chain (the disk itself when it has
  /// no parent).
  virtual const wchar_t* GetBaseDiskId() = 0;
  /// The path of that root.
  virtual const wchar_t* GetBasePath() = 0;
  /// The disk's size as the guest sees it, in bytes; 0 for a DVD.
  virtual std::int64_t GetMaxInternalSize() = 0;
  /// 1 for DVD media, 0 for a disk.
  virtual std::uint32_t IsDvd() = 0;
  /// 1 for VHDX, 2 for a VHD set, 0 otherwise.
  virtual std::uint32_t GetFormat() = 0;
  /// Whether the drive is on a SCSI controller.
  virtual bool IsOnScsi() = 0;
  /// The IDE controller's address; 0xFFFFFFFF when the disk is not on IDE.
  virtual std::uint32_t GetControllerAddress() = 0;
  /// The drive's place on its controller.
  virtual std::uint32_t GetLocation() = 0;
  /// The byte ranges of the current disk that changed since `changeTrackingId` (one of
  /// IChangeEnumerator::GetChangeTrackingId()), asked of Hyper-V now, in passes until the disk's
  /// end. Raises DefaultException for null; a refused identifier raises the method's return
  /// value or the job's error code and description (IsChangeTrackingUnusable() tells those
  /// apart).
  virtual IDiskChangeEnumerator* GetDiskChangeEnumerator(const wchar_t* changeTrackingId) = 0;
};

/// The host's virtual Ethernet switches (the spelling is part of the interface), read when the
/// enumerator is made and again on Reset().
class IEthernetSwithEnumerator : public IEnumerator {
 public:
  /// "ElementName" of the switch.
  virtual const wchar_t* GetName() = 0;
  /// The switch's identifier (a GUID, its "Name"): what IMachineEditor::AddNetworkAdapter takes.
  virtual const wchar_t* GetId() = 0;
};

}  // namespace quorvane
