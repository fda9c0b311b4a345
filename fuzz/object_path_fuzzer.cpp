// The simulated host's object path parser, and looking the path up on the default host.
#include "fuzz_text.h"
#include "quorvane/exceptions.h"
#include "simhost/object_path.h"
#include "simhost/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto host = quorvane::sim::BuildDefaultHost();
  const std::wstring text = quorvane::fuzz::WideText(data, size);
  quorvane::sim::ParseObjectPath(text);
  try {
    host->GetObject(quorvane::sim::kVirtualizationNamespace, text);
  } catch (const quorvane::DefaultException&) {
  }
  host->ClearCallLog();  // what one input leaves behind would look like a leak
  return 0;
}
