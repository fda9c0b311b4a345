#pragma once

// The calls of Hyper-V's image management service that several subsystems share.
#include <cstdint>
#include <string>
#include <vector>

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

}  // namespace quorvane
