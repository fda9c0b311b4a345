#pragma once

#include <string>

#include "wmi/wmi.h"

namespace quorvane {

inline constexpr wchar_t kRealizedSystemType[] = L"Microsoft:Hyper-V:System:Realized";
inline constexpr wchar_t kRealizedSnapshotType[] = L"Microsoft:Hyper-V:Snapshot:Realized";

// The Msvm_VirtualSystemSettingData whose "ConfigurationID" is `configurationId` (a machine's
// or a checkpoint's). VmNotFoundException when there is none.
WmiObjectPtr FindSettingsByConfigurationId(IWmiService& service,
                                           const std::wstring& configurationId);

// The same for the identifier of one of the machine's checkpoints: settings that are not a
// checkpoint's (a machine's id given where a checkpoint's is expected), or a checkpoint of
// another machine, are refused with a library error, so that a checkpoint operation acts on
// nothing but a checkpoint of its machine.
WmiObjectPtr FindCheckpointSettings(IWmiService& service, const std::wstring& snapshotId,
                                    const std::wstring& machineId);

// The realized (live) settings of the machine whose "VirtualSystemIdentifier" is `systemId`.
WmiObjectPtr FindRealizedSettingsBySystemId(IWmiService& service, const std::wstring& systemId);

// The "ConfigurationID" of the checkpoint a settings object descends from, or "" when its
// "Parent" is empty or names something other than a checkpoint.
std::wstring ReadParentSnapshotId(IWmiService& service, IWmiObject& settings);

}  // namespace quorvane
