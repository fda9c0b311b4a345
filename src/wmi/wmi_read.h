#pragma once

#include <string>

#include "wmi/wmi.h"

namespace quorvane {

// A property's text; a null value or one that is not text reads as "".
inline std::wstring ReadText(IWmiObject& object, const std::wstring& name) {
  const WmiValue value = object.GetProperty(name);
  return value.Kind() == WmiKind::String && !value.IsArray() ? value.AsWideString()
                                                             : std::wstring();
}

}  // namespace quorvane
