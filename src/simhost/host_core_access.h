#pragma once

// The host behind a SimulatedHost handle, for the simulated host's own bindings.
#include <memory>

#include "quorvane/simulated_host.h"

namespace quorvane::sim {

struct HostCoreAccess {
  static const std::shared_ptr<HostCore>& Core(const SimulatedHost& host) { return host.core_; }
};

}  // namespace quorvane::sim
