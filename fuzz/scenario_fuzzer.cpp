// Loading a scenario: any text ends in a host or in the library's exception.
#include "quorvane/exceptions.h"
#include "simhost/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    quorvane::sim::HostFromJson(std::string(reinterpret_cast<const char*>(data), size), "fuzz");
  } catch (const quorvane::DefaultException&) {
  }
  return 0;
}
