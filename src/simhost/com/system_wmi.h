#pragma once

// The system's own WMI (Wine's, in a prefix), for what the served host does not stand in for.
#include "platform/windows_api.h"

#include <objbase.h>
#include <wbemidl.h>

namespace quorvane::sim::com {

// The class object of the system's WMI proxy for `cls`.
HRESULT SystemClassObject(REFCLSID cls, REFIID iid, void** out);
// A locator of the system's WMI.
HRESULT SystemLocator(IWbemLocator** out);

}  // namespace quorvane::sim::com
