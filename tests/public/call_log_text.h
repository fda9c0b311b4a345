#pragma once

// A host's call log as text, one call a line and each input indented below it, an embedded
// instance written out below its input one property a line: the form the expected call logs are
// kept in and the two bindings' logs are compared in.
#include <string>
#include <vector>

#include "quorvane/simulated_host.h"

namespace quorvane::testing {

std::string CallLogText(const std::vector<sim::Call>& calls);

// The text with every GUID replaced by its number in the order of first appearance, so that
// identifiers made anew on every run compare equal.
std::string NumberGuids(const std::string& text);

}  // namespace quorvane::testing
