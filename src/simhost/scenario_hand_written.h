#pragma once

#include <nlohmann/json.hpp>

#include "simhost/host_core.h"

namespace quorvane::sim {

// A scenario written by hand names no repository ("namespaces"): the host starts with its
// management services, as a new simulated host does, and its "switches" and "machines" (with
// their disks and chains, DVDs, security and checkpoints) are made on it as Hyper-V makes them.
bool IsHandWritten(const nlohmann::json& document);
// Raises ScenarioError naming the place of a problem.
void ExpandHandWritten(HostCore& host, const nlohmann::json& document);

}  // namespace quorvane::sim
