#pragma once

// The reference counting, interface lookup and free-threaded marshaling every served COM object
// shares. Objects are made with MakeServed and handed out with their first reference.
#include "platform/windows_api.h"

#include <objbase.h>
#include <wbemidl.h>

#include <atomic>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/com_holders.h"
#include "simhost/com/served_ledger.h"

namespace quorvane::sim::com {

using quorvane::com::ComPtr;

// The interface identifier of a base: its own, or that of the COM interface a helper base
// implements (a helper names it as ComInterface).
template <typename T>
const IID& IidOf() {
  if constexpr (requires { typename T::ComInterface; }) {
    return __uuidof(typename T::ComInterface);
  } else {
    return __uuidof(T);
  }
}

// COM interfaces have no virtual destructor: the served classes are destroyed through Release
// alone, so the warning does not apply to any unit that defines them.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A WMI status as COM returns it.
constexpr HRESULT Status(WBEMSTATUS status) {
  return static_cast<HRESULT>(status);
}
template <typename First, typename... Rest>
class ServedObject : public First, public Rest... {
 public:
  ServedObject(const ServedObject&) = delete;
  ServedObject& operator=(const ServedObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) {
      return E_POINTER;
    }
    *out = nullptr;
    if (iid == __uuidof(IUnknown)) {
      *out = static_cast<First*>(this);
    } else if (!Find<First, Rest...>(iid, out)) {
      // The marshaler makes every object usable from any apartment without a proxy.
      return marshaler_ ? marshaler_->QueryInterface(iid, out) : E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 protected:
  ServedObject() {
    CoCreateFreeThreadedMarshaler(static_cast<First*>(this), marshaler_.GetAddressOf());
    if constexpr (kHandedToClients) {
      NoteObjectMade(this);
    }
  }
  virtual ~ServedObject() {
    if constexpr (kHandedToClients) {
      NoteObjectGone(this);
    }
  }

 private:
  // Class factories stay registered with COM for the process's life; what they make is counted.
  static constexpr bool kHandedToClients = !std::is_same_v<First, IClassFactory>;

  template <typename Interface, typename... Others>
  bool Find(REFIID iid, void** out) {
    if (iid == IidOf<Interface>()) {
      *out = static_cast<Interface*>(this);
      return true;
    }
    if constexpr (sizeof...(Others) > 0) {
      return Find<Others...>(iid, out);
    } else {
      return false;
    }
  }

  std::atomic<ULONG> references_{1};
  ComPtr<IUnknown> marshaler_;
};

// A new served object, owned by the returned pointer (its first reference). MinGW-w64's
// ComPtr::Attach adds a reference of its own, unlike the Windows SDK's, so the first reference
// is stored through the pointer's address instead.
template <typename T, typename... Args>
ComPtr<T> MakeServed(Args&&... args) {
  ComPtr<T> object;
  *object.GetAddressOf() = new T(std::forward<Args>(args)...);
  return object;
}

// Hands a served object to a COM caller through an out parameter.
template <typename Interface, typename T>
HRESULT HandOut(ComPtr<T> object, Interface** out) {
  if (out == nullptr) {
    return E_POINTER;
  }
  *out = static_cast<Interface*>(object.Detach());
  return S_OK;
}

}  // namespace quorvane::sim::com
