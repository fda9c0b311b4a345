#pragma once

#include <string>

#include "quorvane/quorvane.h"

namespace quorvane::cli {

struct MachineRef {
  std::wstring id;  // "VirtualSystemIdentifier", which is also its settings' "ConfigurationID"
  std::wstring name;
};

// The machine named by `text`: its identifier (either one) or its name. UsageError when nothing
// matches, or when several machines bear the name (the message lists them).
MachineRef FindMachine(IQuorvane& root, const std::string& text);

// The checkpoint of the machine named by `text`: its "ConfigurationID" or its name.
std::wstring FindCheckpoint(IQuorvane& root, const MachineRef& machine, const std::string& text);

}  // namespace quorvane::cli
