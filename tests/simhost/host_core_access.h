#pragma once

// What the host's own tests may reach behind a simulated host's handle: its core.
#include <memory>

#include "quorvane/simulated_host.h"
#include "simhost/host_core.h"

namespace quorvane::sim {

struct HostCoreAccess {
  static HostCore& Of(const SimulatedHost& host) { return *host.core_; }
};

inline HostCore& CoreOf(const SimulatedHost& host) {
  return HostCoreAccess::Of(host);
}

}  // namespace quorvane::sim
