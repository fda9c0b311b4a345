#pragma once

// The WMI classes this module serves (locator, context, object-text source), as class factories
// and as registrations of a process's apartments.
#include "platform/windows_api.h"

#include <objbase.h>
#include <wbemidl.h>

#include <memory>

#include "simhost/com/served_object.h"

namespace quorvane::sim {
class HostCore;
}

namespace quorvane::sim::com {

// The factory of a served class, making its instances for the host served when they are made
// (Serve); null for a class this module does not serve.
ComPtr<IClassFactory> MakeServedClassFactory(REFCLSID cls);

// Serves `host` as this process's WMI whatever the registry says: the served classes are
// registered with COM for the calling thread's apartment (once per apartment), where WMI's
// classes are looked for before the registry. COM is initialised on the thread when it was
// not, as the library itself does.
void ServeInProcess(std::shared_ptr<HostCore> host);

}  // namespace quorvane::sim::com
