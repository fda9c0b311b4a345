#include "simulated_host_module.h"

#include <stdexcept>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace quorvane::cli {

void RequireSimulatedHost() {
#if defined(_WIN32)
  // Loaded for the rest of the run: the calls into it find it there.
  if (LoadLibraryW(L"quorvane_simhost.dll") == nullptr) {
    throw std::runtime_error(
        "--scenario needs the simulated host: quorvane_simhost.dll was not found beside "
        "quorvane.exe");
  }
#endif
}

}  // namespace quorvane::cli
