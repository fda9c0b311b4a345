#pragma once

#include <string>

#include "quorvane/snapshots.h"
#include "wmi/wmi.h"

namespace quorvane {

inline constexpr std::uint32_t kStandardSnapshot = 2;
inline constexpr std::uint32_t kRecoverySnapshot = 32768;
inline constexpr std::uint32_t kApplicationConsistent = 1;
inline constexpr std::uint32_t kCrashConsistent = 2;
// Marks the recovery checkpoints this library took.
inline constexpr wchar_t kRecoveryPrefix[] = L"[HVRC] ";
inline constexpr std::uint32_t kNoChangeTrackingData = 0xC03A002A;

// The checkpoints of one machine, named by the machine's "VirtualSystemIdentifier".
class SnapshotManagement : public ISnapshotManagement {
 public:
  // Null when memory is short; nothing is read until an operation is called.
  static SnapshotManagement* Create(WmiServicePtr service, std::wstring machineId);

  SnapshotManagement(WmiServicePtr service, std::wstring machineId)
      : service_(std::move(service)), machineId_(std::move(machineId)) {}

  void Release() override { delete this; }
  void CreateStandardSnapshot() override;
  std::int32_t CreateRecoverySnapshot(bool allowFallback,
                                      bool* applicationConsistentFailed) override;
  bool IsRecoverySnapshot(const wchar_t* snapshotId) override;
  void ApplySnapshot(const wchar_t* snapshotId) override;
  void DestroySnapshot(const wchar_t* snapshotId, bool withSubtree) override;
  void RenameSnapshot(const wchar_t* snapshotId, const wchar_t* name) override;
  const wchar_t* GetLastSnapshotId() override { return lastSnapshotId_.c_str(); }
  IMachineInfo* GetSnapshotInfo(const wchar_t* snapshotId) override;
  IMachineEnumerator* EnumerateSnapshots() override;
  IChangeEnumerator* GetChangeEnumerator(const wchar_t* changeTrackingId) override;
  void CreateSnapshotOfType(std::uint32_t snapshotType, std::uint32_t consistencyLevel) override;

 private:
  // Runs a method of the snapshot service on a checkpoint and waits for it.
  void RunOnSnapshot(const wchar_t* method, const wchar_t* parameter, const wchar_t* snapshotId);

  WmiServicePtr service_;
  std::wstring machineId_;
  std::wstring lastSnapshotId_;
};

}  // namespace quorvane
