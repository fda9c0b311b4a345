// The in-process COM server entry points. Registered for WMI's locator, context and
// object-text-source classes, it answers with the served simulated host; before any host is
// served it hands locator and context requests on to the system's own WMI, so that programs
// that talk to real WMI in the same prefix keep working.
#include "platform/windows_api.h"

#include <objbase.h>
#include <olectl.h>
#include <wbemidl.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "simhost/com/served_host.h"
#include "simhost/com/served_wmi.h"
#include "simhost/com/system_wmi.h"

namespace quorvane::sim::com {
namespace {

const CLSID kLocatorClass = {
    0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
const CLSID kContextClass = {
    0x674B6698, 0xEE92, 0x11D0, {0xAD, 0x71, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};
const CLSID kTextSourceClass = {
    0x8D1C559D, 0x84F0, 0x4BB3, {0xA7, 0xD5, 0x56, 0xA7, 0x43, 0x5A, 0x9B, 0xA6}};

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
      return make_()->QueryInterface(iid, out);
    } catch (...) {
      return StatusOfCurrentException();
    }
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  InstanceMaker make_;
};

}  // namespace

// The system's own WMI proxy, which implements the locator and context classes.
HRESULT SystemClassObject(REFCLSID cls, REFIID iid, void** out) {
  wchar_t system[MAX_PATH];
  const UINT length = GetSystemDirectoryW(system, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  const std::wstring path = std::wstring(system) + L"\\wbem\\wbemprox.dll";
  HMODULE proxy = LoadLibraryW(path.c_str());
  if (proxy == nullptr) {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  const auto get = reinterpret_cast<GetClassObject>(
      reinterpret_cast<void*>(GetProcAddress(proxy, "DllGetClassObject")));
  return get ? get(cls, iid, out) : CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT SystemLocator(IWbemLocator** out) {
  *out = nullptr;
  ComPtr<IClassFactory> factory;
  HRESULT status = SystemClassObject(kLocatorClass, IID_IClassFactory,
                                     reinterpret_cast<void**>(factory.GetAddressOf()));
  if (FAILED(status)) {
    return status;
  }
  return factory->CreateInstance(nullptr, IID_IWbemLocator, reinterpret_cast<void**>(out));
}

}  // namespace quorvane::sim::com

using quorvane::sim::com::ClassFactory;
using quorvane::sim::com::ComPtr;

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE
    DllGetClassObject(REFCLSID cls, REFIID iid, void** out) {
  namespace served = quorvane::sim::com;
  if (out == nullptr) {
    return E_POINTER;
  }
  *out = nullptr;
  std::shared_ptr<quorvane::sim::HostCore> host;
  try {
    host = served::ServedHostOrScenario();
  } catch (const std::exception& failure) {
    // A scenario named but not loaded: say so rather than answer with another host.
    std::fprintf(stderr, "quorvane_simhost.dll: QUORVANE_SCENARIO: %s\n", failure.what());
    return CLASS_E_CLASSNOTAVAILABLE;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
  served::InstanceMaker make;
  if (host && cls == served::kLocatorClass) {
    make = [host] { return ComPtr<IUnknown>(served::MakeServedLocator(host)); };
  } else if (host && cls == served::kContextClass) {
    make = [] { return ComPtr<IUnknown>(served::MakeServedContext()); };
  } else if (host && cls == served::kTextSourceClass) {
    make = [] { return ComPtr<IUnknown>(served::MakeServedTextSource()); };
  } else if (cls == served::kLocatorClass || cls == served::kContextClass) {
    return served::SystemClassObject(cls, iid, out);
  } else {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  try {
    return served::MakeServed<ClassFactory>(std::move(make))->QueryInterface(iid, out);
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

// Served objects may outlive every reference COM knows of; the module stays.
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return S_FALSE;
}
