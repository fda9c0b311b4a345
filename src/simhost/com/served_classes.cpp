#include "simhost/com/served_classes.h"

#include <functional>
#include <utility>

#include "platform/com_error.h"
#include "simhost/com/served_host.h"
#include "simhost/com/served_wmi.h"

namespace quorvane::sim::com {

namespace {

using InstanceMaker = std::function<ComPtr<IUnknown>()>;

class ClassFactory final : public ServedObject<IClassFactory> {
 public:
  explicit ClassFactory(InstanceMaker make) : make_(std::move(make)) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) {
      return E_POINTER;
    }
    *out = nullptr;
    if (outer != nullptr) {
      return CLASS_E_NOAGGREGATION;
    }
    try {
      const ComPtr<IUnknown> made = make_();
      return made ? made->QueryInterface(iid, out) : CLASS_E_CLASSNOTAVAILABLE;
    } catch (...) {
      return StatusOfCurrentException();
    }
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  InstanceMaker make_;
};

bool IsServedClass(REFCLSID cls) {
  return cls == CLSID_WbemLocator || cls == CLSID_WbemContext || cls == CLSID_WbemObjectTextSrc;
}

ComPtr<IUnknown> MakeServedInstance(REFCLSID cls) {
  auto host = ServedHost();
  if (!host) {
    return nullptr;
  }
  if (cls == CLSID_WbemLocator) {
    return MakeServedLocator(std::move(host));
  }
  if (cls == CLSID_WbemContext) {
    return MakeServedContext();
  }
  return MakeServedTextSource();
}

}  // namespace

ComPtr<IClassFactory> MakeServedClassFactory(REFCLSID cls) {
  if (!IsServedClass(cls)) {
    return nullptr;
  }
  const CLSID served = cls;
  return MakeServed<ClassFactory>([served] { return MakeServedInstance(served); });
}

void ServeInProcess(std::shared_ptr<HostCore> host) {
  Serve(std::move(host));
  CoInitialize(nullptr);
  const std::uint64_t apartment = ApartmentOfThread();
  if (IsApartmentServed(apartment)) {
    return;
  }
  for (const CLSID* cls : {&CLSID_WbemLocator, &CLSID_WbemContext, &CLSID_WbemObjectTextSrc}) {
    // Instances are made for the host served then, so that a later Serve reaches every apartment.
    const ComPtr<IClassFactory> factory = MakeServedClassFactory(*cls);
    DWORD cookie = 0;
    const HRESULT registered = CoRegisterClassObject(*cls, factory.Get(), CLSCTX_INPROC_SERVER,
                                                     REGCLS_MULTIPLEUSE, &cookie);
    if (FAILED(registered)) {
      throw ComError(registered);
    }
  }
  NoteApartmentServed(apartment);
}

}  // namespace quorvane::sim::com
