#pragma once

// What a served object says of its properties' types: the CIM type Get reports, and the
// qualifier sets ("CIMTYPE", "key") that scripting clients read a property's type from.
#include "platform/windows_api.h"

#include <wbemidl.h>

#include "simhost/com/served_object.h"

namespace quorvane::sim {
struct ClassDef;
struct MemberDef;
}  // namespace quorvane::sim

namespace quorvane::sim::com {

// The CIMTYPE of a property or parameter, with CIM_FLAG_ARRAY for an array.
CIMTYPE CimTypeOf(const MemberDef& member);
// The CIMTYPE of a system property ("__CLASS", "__GENUS", ...).
CIMTYPE SystemPropertyType(const wchar_t* name);

// A property's qualifiers: "CIMTYPE" (its type's text, as "uint16", "ref:CIM_ConcreteJob" or
// "object:Msvm_SummaryInformation") and, for a key of the class, "key". `cls` is null for a
// method's parameters. They are propagated to an instance from its class.
ComPtr<IWbemQualifierSet> MakePropertyQualifiers(const ClassDef* cls, const MemberDef& member,
                                                 bool classObject);
// An object's own qualifiers: "Abstract" and "Association" for a class that is one.
ComPtr<IWbemQualifierSet> MakeObjectQualifiers(const ClassDef* cls, bool classObject);

}  // namespace quorvane::sim::com
