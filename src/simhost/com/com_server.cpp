// The in-process COM server entry points. Registered for WMI's locator, context and
// object-text-source classes, it answers with the served simulated host; before any host is
// served it hands locator and context requests on to the system's own WMI, so that programs
// that talk to real WMI in the same prefix keep working.
#include "platform/windows_api.h"

#include <objbase.h>
#include <olectl.h>
#include <wbemidl.h>

#include <functional>
#include <string>

#include "simhost/com/served_host.h"
#include "simhost/com/served_wmi.h"

namespace quorvane::sim::com {
namespace {

const CLSID kLocatorClass = {
    0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
const CLSID kContextClass = {
    0x674B6698, 0xEE92, 0x11D0, {0xAD, 0x71, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};
const CLSID kTextSourceClass = {
    0x8D1C559D, 0x84F0, 0x4BB3, {0xA7, 0xD5, 0x56, 0xA7, 0x43, 0x5A, 0x9B, 0xA6}};

const wchar_t* const kServedClasses[] = {
    L"{4590F811-1D3A-11D0-891F-00AA004B2E24}",
    L"{674B6698-EE92-11D0-AD71-00C04FD8FDFF}",
    L"{8D1C559D-84F0-4BB3-A7D5-56A7435A9BA6}",
};

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

std::wstring ModulePath() {
  HMODULE self = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&ModulePath), &self);
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(self, path, MAX_PATH);
  return length == 0 || length >= MAX_PATH ? L"" : std::wstring(path, length);
}

LSTATUS SetText(HKEY key, const wchar_t* name, const std::wstring& value) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

}  // namespace
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
  const auto host = served::ServedHost();
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

// Registers this module as the in-process server of the served classes, usable from any
// apartment.
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllRegisterServer() {
  namespace served = quorvane::sim::com;
  const std::wstring module = served::ModulePath();
  if (module.empty()) {
    return SELFREG_E_CLASS;
  }
  for (const wchar_t* cls : served::kServedClasses) {
    const std::wstring keyPath = std::wstring(L"CLSID\\") + cls + L"\\InprocServer32";
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_CLASSES_ROOT, keyPath.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                        &key, nullptr) != ERROR_SUCCESS) {
      return SELFREG_E_CLASS;
    }
    const bool written = served::SetText(key, nullptr, module) == ERROR_SUCCESS &&
                         served::SetText(key, L"ThreadingModel", L"Both") == ERROR_SUCCESS;
    RegCloseKey(key);
    if (!written) {
      return SELFREG_E_CLASS;
    }
  }
  return S_OK;
}
