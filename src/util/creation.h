#pragma once

#include <new>
#include <string>
#include <utility>

#include "quorvane/exceptions.h"

namespace quorvane {

// The creation pattern of every public object: allocate without throwing (null when memory is
// short), load everything at once, and on a failed load release the half-made object and let
// the same exception go on.
template <typename T, typename Load, typename... Args>
T* CreateLoaded(Load load, Args&&... args) {
  T* object = new (std::nothrow) T(std::forward<Args>(args)...);
  if (object == nullptr) {
    return nullptr;
  }
  try {
    load(*object);
  } catch (...) {
    object->Release();
    throw;
  }
  return object;
}

// A wide-string argument from the host; null is refused with a clear message.
inline std::wstring RequireText(const wchar_t* value, const wchar_t* what) {
  if (value == nullptr) {
    throw DefaultException(kLibraryErrorCode, (std::wstring(what) + L" must not be null").c_str());
  }
  return value;
}

// For an identifier that a query would read as "no condition" when empty.
inline const std::wstring& RequireNonEmpty(const std::wstring& value, const wchar_t* what) {
  if (value.empty()) {
    throw DefaultException(kLibraryErrorCode, (std::wstring(what) + L" must not be empty").c_str());
  }
  return value;
}

}  // namespace quorvane
