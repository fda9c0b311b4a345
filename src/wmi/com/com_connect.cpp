#include "platform/windows_api.h"

#include <objbase.h>

#include "wmi/com/com_wmi.h"
#include "wmi/wmi_connect.h"

namespace quorvane {

WmiServicePtr ConnectWmiService(const ConnectionRequest& request) {
  return com::WmiService::Connect(request);
}

// The result is not checked: a thread that already initialised COM keeps its apartment.
void InitializeComForThread() {
  CoInitialize(nullptr);
}

}  // namespace quorvane
