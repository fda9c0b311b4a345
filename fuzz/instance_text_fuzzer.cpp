// The simulated host's reader of the instance texts clients pass to methods.
#include "fuzz_text.h"
#include "quorvane/exceptions.h"
#include "simhost/sim_wmi.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    quorvane::sim::ParseEmbeddedInstance(quorvane::fuzz::WideText(data, size));
  } catch (const quorvane::DefaultException&) {
  }
  return 0;
}
