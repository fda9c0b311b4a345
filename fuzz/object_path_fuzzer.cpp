// The simulated host's object path parser, and looking the path up on the default host. A path
// with named keys, written out again, reads back as the same object.
#include <cstdlib>

#include "fuzz_text.h"
#include "quorvane/exceptions.h"
#include "simhost/object_path.h"
#include "simhost/scenario.h"

namespace {

void CheckRoundTrip(const quorvane::sim::ObjectPath& path) {
  if (path.singleton || path.keys.empty()) {
    return;
  }
  for (const auto& [name, value] : path.keys) {
    if (name.empty()) {
      return;  // a single unnamed key is written as it was, not in this form
    }
  }
  const auto again =
      quorvane::sim::ParseObjectPath(quorvane::sim::FormatRelativePath(path.className, path.keys));
  if (!again || quorvane::sim::PathIdentity(*again) != quorvane::sim::PathIdentity(path)) {
    std::abort();  // the written path names another object, or none
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto host = quorvane::sim::BuildDefaultHost();
  const std::wstring text = quorvane::fuzz::WideText(data, size);
  if (const auto path = quorvane::sim::ParseObjectPath(text)) {
    CheckRoundTrip(*path);
  }
  try {
    host->GetObject(quorvane::sim::kVirtualizationNamespace, text);
  } catch (const quorvane::DefaultException&) {
  }
  host->ClearCallLog();  // what one input leaves behind would look like a leak
  return 0;
}
