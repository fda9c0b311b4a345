#pragma once

#include "simhost/host_core.h"

// The Hyper-V provider's method behaviours, one group per file.
namespace quorvane::sim {

void InstallLifecycleBehaviours(HostCore& host);
void InstallSnapshotBehaviours(HostCore& host);
void InstallStorageBehaviours(HostCore& host);
void InstallEditingBehaviours(HostCore& host);
void InstallSecurityBehaviours(HostCore& host);

// Deferred work that applies an embedded instance's properties to the stored settings it names
// by InstanceID. Arguments: "Text", the instance; "Keep", once for each name it may not change;
// "Affect" "1" to link the job to the settings; "Then" "StartMerges" to start the merges that
// waited for merge settings.
inline constexpr wchar_t kApplySettingsText[] = L"ApplySettingsText";

}  // namespace quorvane::sim
