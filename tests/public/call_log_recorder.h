#pragma once

// The call logs of the hosts a test made, kept so that the same test run through the direct
// binding and through COM can be compared: with QUORVANE_CALL_LOG_DIR set, each test that
// tracked hosts writes their logs, in the order they were made, to <dir>/<suite>.<test>.log,
// with GUIDs numbered by first appearance (the library makes new ones on every run).
#include "quorvane/simulated_host.h"

namespace quorvane::testing {

// Remembers the host until the end of the current test.
void TrackHost(const sim::SimulatedHost& host);

}  // namespace quorvane::testing
