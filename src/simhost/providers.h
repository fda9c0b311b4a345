#pragma once

#include "simhost/host_core.h"

// The Hyper-V provider's method behaviours, one group per file.
namespace quorvane::sim {

void InstallLifecycleBehaviours(HostCore& host);
void InstallSnapshotBehaviours(HostCore& host);
void InstallStorageBehaviours(HostCore& host);
void InstallEditingBehaviours(HostCore& host);
void InstallSecurityBehaviours(HostCore& host);

}  // namespace quorvane::sim
