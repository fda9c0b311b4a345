#pragma once

/// @file
/// Ownership of library objects in standard smart pointers.

#include <memory>

#include "quorvane/destroy.h"

namespace quorvane {

/// Gives an object back to the library when the holder goes out of scope.
struct Releaser {
  /// Releases `object`; null is ignored.
  void operator()(IDestroy* object) const {
    if (object != nullptr) {
      object->Release();
    }
  }
};

/// A library object owned by a std::unique_ptr that releases it.
template <typename T>
using Owned = std::unique_ptr<T, Releaser>;

/// Takes ownership of an object the library handed out (null stays null).
template <typename T>
Owned<T> Own(T* object) {
  return Owned<T>(object);
}

}  // namespace quorvane
