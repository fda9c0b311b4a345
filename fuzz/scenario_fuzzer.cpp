// Loading a scenario: any text ends in a host or in the library's exception, and a host that
// loads is saved and loaded again to exactly the same host.
#include <cstdlib>

#include "quorvane/exceptions.h"
#include "simhost/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::shared_ptr<quorvane::sim::HostCore> host;
  try {
    host =
        quorvane::sim::HostFromJson(std::string(reinterpret_cast<const char*>(data), size), "fuzz");
  } catch (const quorvane::DefaultException&) {
    return 0;
  }
  const std::string saved = quorvane::sim::HostToJson(*host);
  const auto reloaded = quorvane::sim::HostFromJson(saved, "saved");
  if (quorvane::sim::HostToJson(*reloaded) != saved) {
    std::abort();  // saving and loading changed the host
  }
  return 0;
}
