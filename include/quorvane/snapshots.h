#pragma once

#include <cstdint>

#include "quorvane/destroy.h"
#include "quorvane/inventory.h"

namespace quorvane {

// For one recovery checkpoint: each disk of the machine with its resilient change tracking
// identifier.
class IChangeEnumerator : public IEnumerator {
 public:
  virtual const wchar_t* GetDiskId() = 0;
  virtual const wchar_t* GetChangeTrackingId() = 0;
};

// The byte ranges of one disk that changed since a change tracking identifier.
class IDiskChangeEnumerator : public IEnumerator {
 public:
  virtual std::uint64_t GetOffset() = 0;
  virtual std::uint64_t GetLength() = 0;
};

// The checkpoints of one machine. Checkpoints are named by their "ConfigurationID".
class ISnapshotManagement : public IDestroy {
 public:
  virtual void CreateStandardSnapshot() = 0;
  // Returns the consistency level used (1 application, 2 crash consistent).
  virtual std::int32_t CreateRecoverySnapshot(bool allowFallback,
                                              bool* applicationConsistentFailed) = 0;
  virtual bool IsRecoverySnapshot(const wchar_t* snapshotId) = 0;
  virtual void ApplySnapshot(const wchar_t* snapshotId) = 0;
  virtual void DestroySnapshot(const wchar_t* snapshotId, bool withSubtree) = 0;
  virtual void RenameSnapshot(const wchar_t* snapshotId, const wchar_t* name) = 0;
  virtual const wchar_t* GetLastSnapshotId() = 0;
  virtual IMachineInfo* GetSnapshotInfo(const wchar_t* snapshotId) = 0;
  virtual IMachineEnumerator* EnumerateSnapshots() = 0;
  virtual IChangeEnumerator* GetChangeEnumerator(const wchar_t* changeTrackingId) = 0;
  virtual void CreateSnapshotOfType(std::uint32_t snapshotType, std::uint32_t consistencyLevel) = 0;
};

}  // namespace quorvane
