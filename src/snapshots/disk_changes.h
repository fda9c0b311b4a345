#pragma once

#include <string>
#include <utility>
#include <vector>

#include "quorvane/snapshots.h"
#include "util/enumerator_base.h"
#include "wmi/wmi.h"

namespace quorvane {

// One changed range of a disk: byte offset and byte length.
struct ChangedRange {
  std::uint64_t offset;
  std::uint64_t length;
};

// The embedded instance Hyper-V gives for a disk file ("GetVirtualHardDiskSettingData").
std::wstring GetVirtualHardDiskSettingData(IWmiObject& imageService, const std::wstring& path);

// The byte ranges of the disk at `path` that changed since `limitId`, gathered over as many
// passes as Hyper-V needs.
std::vector<ChangedRange> GetVirtualDiskChanges(IWmiService& service, const std::wstring& path,
                                                const std::wstring& limitId);

// The changed ranges of one disk; Reset asks Hyper-V again and keeps the old list on failure.
class DiskChangeEnumerator final : public EnumeratorBase<IDiskChangeEnumerator, ChangedRange> {
 public:
  static DiskChangeEnumerator* Create(WmiServicePtr service, std::wstring path,
                                      std::wstring limitId);

  DiskChangeEnumerator(WmiServicePtr service, std::wstring path, std::wstring limitId)
      : service_(std::move(service)), path_(std::move(path)), limitId_(std::move(limitId)) {}

  void Reset() override;
  std::uint64_t GetOffset() override { return NumberOf(Current(), &ChangedRange::offset); }
  std::uint64_t GetLength() override { return NumberOf(Current(), &ChangedRange::length); }

 private:
  WmiServicePtr service_;
  std::wstring path_;
  std::wstring limitId_;
};

struct ChangeTrackingEntry {
  std::wstring diskId;
  std::wstring changeTrackingId;
};

// For one recovery checkpoint: each disk with its change tracking identifier. Filled once at
// creation (which turns the checkpoint into identifiers); Reset only rewinds.
class ChangeEnumerator final : public EnumeratorBase<IChangeEnumerator, ChangeTrackingEntry> {
 public:
  static ChangeEnumerator* Create(WmiServicePtr service, std::wstring machineId,
                                  std::wstring snapshotId);

  ChangeEnumerator(WmiServicePtr service, std::wstring machineId, std::wstring snapshotId)
      : service_(std::move(service)),
        machineId_(std::move(machineId)),
        snapshotId_(std::move(snapshotId)) {}

  void Reset() override { Rewind(); }
  const wchar_t* GetDiskId() override { return TextOf(Current(), &ChangeTrackingEntry::diskId); }
  const wchar_t* GetChangeTrackingId() override {
    return TextOf(Current(), &ChangeTrackingEntry::changeTrackingId);
  }

 private:
  void Load();

  WmiServicePtr service_;
  std::wstring machineId_;
  std::wstring snapshotId_;
};

}  // namespace quorvane
