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
#include <memory>
#include <string>

#include "simhost/com/served_classes.h"
#include "simhost/com/served_host.h"
#include "simhost/com/served_wmi.h"
#include "simhost/com/system_wmi.h"

namespace quorvane::sim::com {

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
  HRESULT status = SystemClassObject(CLSID_WbemLocator, IID_IClassFactory,
                                     reinterpret_cast<void**>(factory.GetAddressOf()));
  if (FAILED(status)) {
    return status;
  }
  return factory->CreateInstance(nullptr, IID_IWbemLocator, reinterpret_cast<void**>(out));
}

}  // namespace quorvane::sim::com

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
  try {
    if (const auto factory = host ? served::MakeServedClassFactory(cls) : nullptr) {
      return factory->QueryInterface(iid, out);
    }
  } catch (...) {
    return E_OUTOFMEMORY;
  }
  if (cls == CLSID_WbemLocator || cls == CLSID_WbemContext) {
    return served::SystemClassObject(cls, iid, out);
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

// Served objects may outlive every reference COM knows of; the module stays.
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return S_FALSE;
}
