#pragma once

#include <string>

#include "quorvane/snapshots.h"
#include "util/enumerator_base.h"
#include "wmi/wmi.h"

namespace quorvane {

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
