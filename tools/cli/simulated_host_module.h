#pragma once

namespace quorvane::cli {

// On Windows the simulated host is a DLL of its own, loaded at the first call into it: this
// loads it first, and fails with a message that names it when it cannot be found, rather than
// letting that first call fail. Nothing elsewhere, where it is part of the library.
void RequireSimulatedHost();

}  // namespace quorvane::cli
