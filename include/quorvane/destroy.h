#pragma once

/// @file
/// The bases of every object the library hands out.

namespace quorvane {

/// Base of every object the library hands out. Give an object back with Release() instead of
/// deleting it, so that the library that made it frees it.
class IDestroy {
 public:
  virtual ~IDestroy() = default;
  /// Frees the object. Strings it returned are invalid from then on. Never fails.
  virtual void Release() = 0;

 protected:
  /// For the library's objects.
  IDestroy() = default;
  /// For the library's objects.
  IDestroy(const IDestroy&) = default;
  /// For the library's objects.
  IDestroy& operator=(const IDestroy&) = default;
};

/// The enumerator base. A new enumerator stands before its first element: call Next(), and
/// while it returns true read the accessors. Off the list, string accessors give null and
/// numbers 0. Strings stay valid until the next Next() or Reset(), or until Release().
class IEnumerator : public IDestroy {
 public:
  /// Goes back before the first element. Where the enumerator says so, it also reads its source
  /// again; that reading can raise as the enumerator's creation does.
  virtual void Reset() = 0;
  /// Moves to the next element; false past the last one.
  virtual bool Next() = 0;
};

}  // namespace quorvane
