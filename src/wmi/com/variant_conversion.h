#pragma once

#include <functional>

#include "platform/com_holders.h"
#include "wmi/wmi_value.h"

namespace quorvane::com {

// Turns an embedded object (IUnknown holding an IWbemClassObject) into a wrapper.
using ObjectWrapper = std::function<WmiObjectPtr(IUnknown*)>;
// Gives the IWbemClassObject of a wrapper (null for a wrapper that is not of this backend).
using ObjectUnwrapper = std::function<ComPtr<IUnknown>(const WmiObjectPtr&)>;

WmiValue FromVariant(const VARIANT& variant, const ObjectWrapper& wrap);
// Fills `variant` (cleared by its holder) with the value.
void ToVariant(const WmiValue& value, VARIANT& variant, const ObjectUnwrapper& unwrap);

}  // namespace quorvane::com
