#pragma once

#include <string>
#include <utility>
#include <vector>

#include "wmi/wmi.h"

namespace quorvane {

inline constexpr int kConversionAttempts = 12;
inline constexpr std::uint32_t kConversionRetryPauseMs = 10000;
inline constexpr int kMergeWaitPasses = 12;
inline constexpr std::uint32_t kMergeWaitPauseMs = 10000;
inline constexpr std::uint32_t kMergingDisksStatus = 32772;

// Turns a recovery checkpoint into one resilient change tracking identifier per disk:
// (disk identifier, change tracking identifier) pairs. The checkpoint is gone afterwards.
std::vector<std::pair<std::wstring, std::wstring>> CollectChangeTrackingIds(
    const WmiServicePtr& service, const std::wstring& machineId, const std::wstring& snapshotId);

// Enables disk merging on the machine (nothing when it has no disk merge settings).
void ModifyDiskMergeSettings(const WmiServicePtr& service, const std::wstring& machineId);

void DestroyReferencePoint(const WmiServicePtr& service, IWmiObject& referencePoint);

// The machine's Msvm_ComputerSystem, reached from its realized settings; VmNotFoundException
// ("Cannot find Msvm_ComputerSystem with id: " + id) when there is none.
WmiObjectPtr FindComputerSystem(IWmiService& service, const std::wstring& machineId);

}  // namespace quorvane
