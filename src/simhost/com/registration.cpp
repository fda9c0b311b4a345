// Registration of the served classes for the processes of one Wine prefix. The module takes
// over WMI's locator, context and object-text-source classes, so it registers only under Wine:
// on Windows it would take over the machine's WMI. What it replaces is kept beside its own
// entries and put back when it is unregistered, leaving the prefix as it was.
#include "platform/windows_api.h"

#include <objbase.h>
#include <olectl.h>

#include <cstdio>
#include <optional>
#include <string>

namespace {

const wchar_t* const kServedClasses[] = {
    L"{4590F811-1D3A-11D0-891F-00AA004B2E24}",
    L"{674B6698-EE92-11D0-AD71-00C04FD8FDFF}",
    L"{8D1C559D-84F0-4BB3-A7D5-56A7435A9BA6}",
};

// Beside each class's own values: what they were before, or that the class had no server.
constexpr wchar_t kPreviousServer[] = L"QuorvanePreviousServer";
constexpr wchar_t kPreviousModel[] = L"QuorvanePreviousThreadingModel";
constexpr wchar_t kNoPreviousServer[] = L"QuorvaneNoPreviousServer";

// Wine's ntdll exports its version; Windows' does not. The environment variable makes the
// module behave as on Windows, so that the refusal can be seen under Wine.
bool UnderWine() {
  wchar_t assume[8];
  if (GetEnvironmentVariableW(L"QUORVANE_SIMHOST_ASSUME_WINDOWS", assume, 8) > 0) {
    return false;
  }
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
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

std::optional<std::wstring> ReadText(HKEY key, const wchar_t* name) {
  DWORD type = 0;
  DWORD bytes = 0;
  if (RegQueryValueExW(key, name, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS ||
      type != REG_SZ) {
    return std::nullopt;
  }
  std::wstring text(bytes / sizeof(wchar_t) + 1, L'\0');
  if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &bytes) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  text.resize(wcsnlen(text.c_str(), text.size()));
  return text;
}

bool WriteText(HKEY key, const wchar_t* name, const std::wstring& value) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

std::wstring ServerKeyPath(const wchar_t* cls) {
  return std::wstring(L"CLSID\\") + cls + L"\\InprocServer32";
}

class RegistryKey {
 public:
  RegistryKey() = default;
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  ~RegistryKey() {
    if (key_ != nullptr) {
      RegCloseKey(key_);
    }
  }
  HKEY* put() { return &key_; }
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

bool Register(const wchar_t* cls, const std::wstring& module) {
  RegistryKey key;
  DWORD disposition = 0;
  if (RegCreateKeyExW(HKEY_CLASSES_ROOT, ServerKeyPath(cls).c_str(), 0, nullptr, 0,
                      KEY_QUERY_VALUE | KEY_SET_VALUE, nullptr, key.put(),
                      &disposition) != ERROR_SUCCESS) {
    return false;
  }
  const auto server = ReadText(key.get(), nullptr);
  const bool alreadyOurs = server && *server == module;
  if (!alreadyOurs) {
    if (server) {
      const auto model = ReadText(key.get(), L"ThreadingModel");
      if (!WriteText(key.get(), kPreviousServer, *server) ||
          (model && !WriteText(key.get(), kPreviousModel, *model))) {
        return false;
      }
    } else if (!WriteText(key.get(), kNoPreviousServer, L"")) {
      return false;
    }
  }
  return WriteText(key.get(), nullptr, module) && WriteText(key.get(), L"ThreadingModel", L"Both");
}

bool Unregister(const wchar_t* cls, const std::wstring& module) {
  RegistryKey key;
  const std::wstring path = ServerKeyPath(cls);
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_QUERY_VALUE | KEY_SET_VALUE,
                    key.put()) != ERROR_SUCCESS) {
    return true;  // nothing registered
  }
  const auto server = ReadText(key.get(), nullptr);
  if (!server || *server != module) {
    return true;  // another server's: not ours to change
  }
  if (ReadText(key.get(), kNoPreviousServer)) {
    const std::wstring classPath = std::wstring(L"CLSID\\") + cls;
    return RegDeleteTreeW(HKEY_CLASSES_ROOT, classPath.c_str()) == ERROR_SUCCESS;
  }
  const auto previous = ReadText(key.get(), kPreviousServer);
  const auto model = ReadText(key.get(), kPreviousModel);
  if (!previous || !WriteText(key.get(), nullptr, *previous)) {
    return false;
  }
  if (model) {
    WriteText(key.get(), L"ThreadingModel", *model);
  } else {
    RegDeleteValueW(key.get(), L"ThreadingModel");
  }
  RegDeleteValueW(key.get(), kPreviousServer);
  RegDeleteValueW(key.get(), kPreviousModel);
  return true;
}

HRESULT RefuseOutsideWine() {
  std::fputs(
      "quorvane_simhost.dll: not registered: it registers only in a Wine prefix, where it stands "
      "in for WMI; on Windows it would take over the machine's WMI\n",
      stderr);
  return SELFREG_E_CLASS;
}

}  // namespace

// Registers this module as the in-process server of the served classes, usable from any
// apartment, in this Wine prefix.
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllRegisterServer() {
  if (!UnderWine()) {
    return RefuseOutsideWine();
  }
  const std::wstring module = ModulePath();
  if (module.empty()) {
    return SELFREG_E_CLASS;
  }
  for (const wchar_t* cls : kServedClasses) {
    if (!Register(cls, module)) {
      return SELFREG_E_CLASS;
    }
  }
  return S_OK;
}

// Puts back the servers the registration replaced.
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllUnregisterServer() {
  if (!UnderWine()) {
    return RefuseOutsideWine();
  }
  const std::wstring module = ModulePath();
  bool restored = !module.empty();
  for (const wchar_t* cls : kServedClasses) {
    restored = Unregister(cls, module) && restored;
  }
  return restored ? S_OK : SELFREG_E_CLASS;
}
