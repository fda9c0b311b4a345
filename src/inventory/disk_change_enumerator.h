#pragma once

#include <string>

#include "hyperv/image_management.h"
#include "quorvane/snapshots.h"
#include "util/enumerator_base.h"
#include "wmi/wmi.h"

namespace quorvane {

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

}  // namespace quorvane
