// Systems without Windows have no WMI: creating the locator fails as it does where WMI is not
// registered. Hosts there use the simulated host instead.
#include "errors/status.h"
#include "wmi/wmi_connect.h"

namespace quorvane {

WmiServicePtr ConnectWmiService(const ConnectionRequest&) {
  ThrowIfFailed(status::kClassNotRegistered);
  return nullptr;
}

void InitializeComForThread() {}

}  // namespace quorvane
