#include "simhost/com/served_classes.h"

#include <functional>
#include <utility>

#include "platform/com_error.h"
#include "simhost/com/served_host.h"
#include "simhost/com/served_wmi.h"

namespace quorvane::sim::com {

const CLSID kLocatorClass = {
    0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
const CLSID kContextClass = {
    0x674B6698, 0xEE92, 0x11D0, {0xAD, 0x71, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};
const CLSID kTextSourceClass = {
    0x8D1C559D, 0x84F0, 0x4BB3, {0xA7, 0xD5, 0x56, 0xA7, 0x43, 0x5A, 0x9B, 0xA6}};

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
  return cls == kLocatorClass || cls == kContextClass || cls == kTextSourceClass;
}

ComPtr<IUnknown> MakeServedInstance(REFCLSID cls, std::shared_ptr<HostCore> host) {
  if (!host) {
    return nullptr;
  }
  if (cls == kLocatorClass) {
    return MakeServedLocator(std::move(host));
  }
  if (cls == kContextClass) {
    return MakeServedContext();
  }
  return MakeServedTextSource();
}

}  // namespace

ComPtr<IClassFactory> MakeServedClassFactory(REFCLSID cls, std::shared_ptr<HostCore> host) {
  if (!host || !IsServedClass(cls)) {
    return nullptr;
  }
  const CLSID served = cls;
  return MakeServed<ClassFactory>(
      [served, host = std::move(host)] { return MakeServedInstance(served, host); });
}

void ServeInProcess(std::shared_ptr<HostCore> host) {
  Serve(std::move(host));
  CoInitialize(nullptr);
  const std::uint64_t apartment = ApartmentOfThread();
  if (IsApartmentServed(apartment)) {
    return;
  }
  for (const CLSID* cls : {&kLocatorClass, &kContextClass, &kTextSourceClass}) {
    // The host served when an instance is made, so that a later Serve reaches every apartment.
    const CLSID served = *cls;
    auto factory =
        MakeServed<ClassFactory>([served] { return MakeServedInstance(served, ServedHost()); });
    DWORD cookie = 0;
    const HRESULT registered = CoRegisterClassObject(served, factory.Get(), CLSCTX_INPROC_SERVER,
                                                     REGCLS_MULTIPLEUSE, &cookie);
    if (FAILED(registered)) {
      throw ComError(registered);
    }
  }
  NoteApartmentServed(apartment);
}

}  // namespace quorvane::sim::com
