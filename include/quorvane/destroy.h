#pragma once

namespace quorvane {

// Base of every object the library hands out. The host gives an object back with Release
// instead of deleting it, so that it is freed by the library that made it.
class IDestroy {
 public:
  virtual ~IDestroy() = default;
  virtual void Release() = 0;

 protected:
  IDestroy() = default;
  IDestroy(const IDestroy&) = default;
  IDestroy& operator=(const IDestroy&) = default;
};

// The enumerator base. A new enumerator stands before its first element: call Next, and while
// it returns true read the accessors. Off the list, string accessors give null and numbers 0.
class IEnumerator : public IDestroy {
 public:
  // Reads the source again (where the enumerator says so) and goes back before the first element.
  virtual void Reset() = 0;
  virtual bool Next() = 0;
};

}  // namespace quorvane
