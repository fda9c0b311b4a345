#pragma once

// The simulated host's WMI objects as COM serves them: the interfaces the library's COM backend
// calls, each one a thin layer over the host's own service and objects, so that a call through
// COM reaches the host exactly as the same call through the direct binding does.
#include "platform/windows_api.h"

#include <wbemidl.h>

#include <memory>

#include "simhost/com/served_object.h"

namespace quorvane::sim {
class HostCore;
class SimObject;
class SimService;
struct MethodDef;
}  // namespace quorvane::sim

namespace quorvane::sim::com {

ComPtr<IWbemLocator> MakeServedLocator(std::shared_ptr<HostCore> host);
ComPtr<IWbemContext> MakeServedContext();
ComPtr<IWbemObjectTextSrc> MakeServedTextSource();
ComPtr<IWbemServices> MakeServedServices(std::shared_ptr<SimService> service);
ComPtr<IWbemClassObject> MakeServedObject(std::shared_ptr<SimObject> object,
                                          const MethodDef* method = nullptr);

// The host's object behind a served object; null for an object this server did not make.
std::shared_ptr<SimObject> InnerObject(IUnknown* object);

// A failure as the status COM returns: WMI's status for the library's exceptions, the COM
// status for COM errors, WBEM_E_FAILED for anything else (it cannot cross COM as it is).
HRESULT StatusOfCurrentException();

}  // namespace quorvane::sim::com
