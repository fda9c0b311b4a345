#pragma once

// A C root handle bound to a simulated host: made here by the library itself, and on Windows
// by quorvane.dll, whose handles the caller releases.
#include "quorvane/quorvane_c.h"
#include "quorvane/simulated_host.h"

namespace quorvane::sim {

qv_status CreateRootHandle(const SimulatedHost& host, const char* hostName, const char* user,
                           const char* password, qv_root** out) noexcept;

}  // namespace quorvane::sim
