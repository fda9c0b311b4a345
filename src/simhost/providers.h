#pragma once

#include "simhost/host_core.h"

// The Hyper-V provider's method behaviours, one group per file.
namespace quorvane::sim {

void InstallLifecycleBehaviours(HostCore& host);

}  // namespace quorvane::sim
