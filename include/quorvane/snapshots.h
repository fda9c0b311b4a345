#pragma once

/// @file
/// Checkpoints, recovery checkpoints and the changed ranges of disks.

#include <cstdint>

#include "quorvane/destroy.h"
#include "quorvane/inventory.h"

namespace quorvane {

/// For one recovery checkpoint: each disk of the machine with its resilient change tracking
/// identifier, read once when the enumerator is made. Reset() only rewinds. Strings stay valid
/// while the enumerator lives.
class IChangeEnumerator : public IEnumerator {
 public:
  /// The disk's identifier, as IDiskEnumerator::GetDiskId() gives it.
  virtual const wchar_t* GetDiskId() = 0;
  /// The identifier to keep for the next backup, such as
  /// "rctX:5bfde23b:ce75:4303:b54f:6c18394f105c:00000001".
  virtual const wchar_t* GetChangeTrackingId() = 0;
};

/// The byte ranges of one disk that changed since a change tracking identifier, in order.
/// Reset() asks Hyper-V again; a failed Reset() keeps the ranges it had.
class IDiskChangeEnumerator : public IEnumerator {
 public:
  /// Byte offset of the current range; 0 off the list.
  virtual std::uint64_t GetOffset() = 0;
  /// Byte length of the current range; 0 off the list.
  virtual std::uint64_t GetLength() = 0;
};

/// The checkpoints of one machine, named by the machine's "VirtualSystemIdentifier". A
/// checkpoint is named by its "ConfigurationID"; one that does not exist raises
/// VmNotFoundException "Cannot find vm with id: " and the identifier, and a machine that does
/// not exist raises VmNotFoundException "Cannot find Msvm_ComputerSystem with id: " where the
/// machine is needed. A null identifier raises DefaultException. Every operation that runs a
/// Hyper-V method blocks until its job ends; its refusal comes back as the method's return value
/// ("Wmi error on run method: " and the value) or the job's error code and description.
class ISnapshotManagement : public IDestroy {
 public:
  /// Takes a standard checkpoint.
  virtual void CreateStandardSnapshot() = 0;
  /// Takes a recovery checkpoint, the one a backup copies from, and names it "[HVRC] " and
  /// Hyper-V's name. A running machine is tried application consistent first; when that fails,
  /// `*applicationConsistentFailed` (when not null) becomes true and, with `allowFallback`, a
  /// crash-consistent one is taken, else the failure is raised. Returns the consistency level
  /// used: 1 application, 2 crash consistent.
  virtual std::int32_t CreateRecoverySnapshot(bool allowFallback,
                                              bool* applicationConsistentFailed) = 0;
  /// Whether the checkpoint is a recovery checkpoint this library took (its type is recovery
  /// and its name begins with "[HVRC] ").
  virtual bool IsRecoverySnapshot(const wchar_t* snapshotId) = 0;
  /// Reverts the machine to the checkpoint; Hyper-V refuses it for a running machine.
  virtual void ApplySnapshot(const wchar_t* snapshotId) = 0;
  /// Removes the checkpoint, or with `withSubtree` it and every checkpoint taken from it. Its
  /// disks then merge, which Hyper-V does after the call returns.
  virtual void DestroySnapshot(const wchar_t* snapshotId, bool withSubtree) = 0;
  /// Sets the checkpoint's "ElementName" to `name` ("" is allowed; null is not).
  virtual void RenameSnapshot(const wchar_t* snapshotId, const wchar_t* name) = 0;
  /// The "ConfigurationID" of the last checkpoint this object took; "" before any. Valid until
  /// the object takes another checkpoint or is released.
  virtual const wchar_t* GetLastSnapshotId() = 0;
  /// The checkpoint's record, read now.
  virtual IMachineInfo* GetSnapshotInfo(const wchar_t* snapshotId) = 0;
  /// The machine's checkpoints, read now.
  virtual IMachineEnumerator* EnumerateSnapshots() = 0;
  /// Turns a recovery checkpoint (its "ConfigurationID") into each disk's change tracking
  /// identifier: the checkpoint becomes a Hyper-V reference point, the identifiers are read
  /// from it, and the reference point is removed. Blocks for the jobs, for up to 12 retries
  /// 10 s apart while Hyper-V refuses the conversion with 32775 (disks merging), and for up to
  /// 12 pauses of 10 s while the machine still merges disks. A checkpoint that is not a recovery
  /// checkpoint of this library raises DefaultException 0xC03A002A "There is no change tracking
  /// data available associated with the specified change tracking identifier".
  virtual IChangeEnumerator* GetChangeEnumerator(const wchar_t* changeTrackingId) = 0;
  /// Takes a checkpoint of Hyper-V's "SnapshotType" `snapshotType` (2 standard, 32768 recovery,
  /// which is then named "[HVRC] " and Hyper-V's name); `consistencyLevel` (1 application,
  /// 2 crash consistent) counts for recovery checkpoints only.
  virtual void CreateSnapshotOfType(std::uint32_t snapshotType, std::uint32_t consistencyLevel) = 0;
};

}  // namespace quorvane
