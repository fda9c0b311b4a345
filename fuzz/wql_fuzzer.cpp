// The simulated host's WQL parser and evaluator: any query text against the default host.
#include "fuzz_text.h"
#include "quorvane/exceptions.h"
#include "simhost/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto host = quorvane::sim::BuildDefaultHost();
  try {
    host->ExecQuery(quorvane::sim::kVirtualizationNamespace, quorvane::fuzz::WideText(data, size));
  } catch (const quorvane::DefaultException&) {
  }
  host->ClearCallLog();  // what one input leaves behind would look like a leak
  return 0;
}
