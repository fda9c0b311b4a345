#pragma once

// The MOF form of an object, as IWbemClassObject::GetObjectText gives it.
#include <string>

namespace quorvane::sim {

class SimObject;

// An instance (or a method's parameters, "__PARAMETERS") as "instance of CLASS" with the
// properties that have a value, in the class's order; a class object as "class CLASS : SUPER"
// with the properties and methods the class declares itself.
std::wstring MofText(const SimObject& object);

}  // namespace quorvane::sim
