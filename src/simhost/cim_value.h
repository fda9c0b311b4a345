#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simhost/schema.h"

namespace quorvane::sim {

// Converts a value given for a property or parameter into the kind WMI keeps for the member's
// CIM type, the way IWbemClassObject::Put converts what it is handed (integers of any width
// within range, decimal text for numbers, "1"/"0"/"true"/"false" for booleans). Nothing when
// WMI would refuse the value with a type mismatch.
std::optional<WmiValue> CoerceToMember(const MemberDef& member, const WmiValue& value);
// The same, taking the value: text that already fits is moved, not copied.
std::optional<WmiValue> CoerceToMember(const MemberDef& member, WmiValue&& value);
// The same for one value of a scalar of `type`.
std::optional<WmiValue> CoerceScalar(CimType type, const WmiValue& value);

// Builds an array value for an array member from scalars, converting each as above.
std::optional<WmiValue> CoerceElements(const MemberDef& member, const std::vector<WmiValue>& items);

// The text of a scalar inside a CIM-XML VALUE element ("TRUE"/"FALSE" for booleans, decimal
// for numbers). Objects have no text form here.
std::wstring ScalarToCimText(const WmiValue& value);
// The same, knowing the member's type (uint32 values are kept as signed 32-bit integers).
std::wstring ScalarToCimText(CimType type, const WmiValue& value);

// Reads a VALUE text as a scalar of `type`; nothing when the text does not fit the type.
std::optional<WmiValue> ScalarFromCimText(CimType type, std::wstring_view text);

// A short readable rendering for logs and messages: text as is, arrays as "{a, b}".
std::wstring DescribeValue(const WmiValue& value);

}  // namespace quorvane::sim
