#pragma once

// The outcome of a call a client made semi-synchronously (WBEM_FLAG_RETURN_IMMEDIATELY): the
// served host finishes every call before it returns, so the result is ready when it is asked.
#include "platform/windows_api.h"

#include <wbemidl.h>

#include <string>

#include "simhost/com/served_object.h"

namespace quorvane::sim::com {

// A call that ended with `status`, made `object` (null when it makes none) and, for an instance
// written, gave `path`.
ComPtr<IWbemCallResult> MakeServedCallResult(HRESULT status, ComPtr<IWbemClassObject> object,
                                             std::wstring path);

}  // namespace quorvane::sim::com
