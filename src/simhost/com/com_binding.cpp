// The library bound to a simulated host through COM: the host is served as the process's WMI,
// and the root object comes from the real exported entry points of quorvane.dll, so that every
// call goes through the library's COM backend.
#include "platform/windows_api.h"

#include <cstring>

#include "capi/c_errors.h"
#include "capi/c_handles.h"
#include "platform/com_error.h"
#include "quorvane/exceptions.h"
#include "quorvane/simulated_host.h"
#include "simhost/c_root_binding.h"
#include "simhost/com/served_classes.h"
#include "simhost/com/served_host.h"
#include "simhost/host_core.h"
#include "simhost/host_core_access.h"
#include "simhost/sim_wmi.h"

namespace quorvane::sim {
namespace {

constexpr std::uint32_t kLibraryErrorCode = 0xFFFFFFFFu;

using CreateRemote = IQuorvane* (*)(const wchar_t*, const wchar_t*, const wchar_t*);
using CreateRemotePlain = std::uint32_t (*)(const wchar_t*, const wchar_t*, const wchar_t*,
                                            IQuorvane**);
using CreateRemoteC = qv_status (*)(const char*, const char*, const char*, qv_root**);
using LastErrorCode = std::uint32_t (*)();
using LastErrorMessage = const char* (*)();
using LastErrorKind = std::int32_t (*)();
using LastErrorUnusable = int (*)();

// The library waits with Sleep; a wait on a thread that talks to a served host advances that
// host's clock instead, as the direct binding's waits do.
void WINAPI WaitOnServedHost(DWORD milliseconds) {
  if (const auto service = com::ServiceOfThread()) {
    service->Wait(milliseconds);
  } else {
    Sleep(milliseconds);
  }
}

// Points the module's import of `function` from `library` at `replacement`.
bool RedirectImport(HMODULE module, const char* library, const char* function, void* replacement) {
  auto* base = reinterpret_cast<BYTE*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& imports =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (auto* entry = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
       entry->Name != 0; ++entry) {
    if (_stricmp(reinterpret_cast<const char*>(base + entry->Name), library) != 0) {
      continue;
    }
    auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->OriginalFirstThunk);
    auto* addresses = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) {
        continue;
      }
      const auto* byName =
          reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(byName->Name), function) != 0) {
        continue;
      }
      DWORD previous = 0;
      if (!VirtualProtect(&addresses->u1.Function, sizeof(addresses->u1.Function), PAGE_READWRITE,
                          &previous)) {
        return false;
      }
      addresses->u1.Function = reinterpret_cast<ULONG_PTR>(replacement);
      VirtualProtect(&addresses->u1.Function, sizeof(addresses->u1.Function), previous, &previous);
      return true;
    }
  }
  return false;
}

template <typename Function>
Function ExportOf(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

struct LibraryEntryPoints {
  CreateRemote createRemote = nullptr;
  CreateRemotePlain createRemotePlain = nullptr;
  // The C interface's: a root handle is made, and its failure recorded, by quorvane.dll.
  CreateRemoteC createRemoteC = nullptr;
  LastErrorCode lastErrorCode = nullptr;
  LastErrorMessage lastErrorMessage = nullptr;
  LastErrorKind lastErrorKind = nullptr;
  LastErrorUnusable lastErrorUnusable = nullptr;
};

LibraryEntryPoints Load() {
  HMODULE library = LoadLibraryW(L"quorvane.dll");
  if (library == nullptr) {
    return {};
  }
  RedirectImport(library, "kernel32.dll", "Sleep", reinterpret_cast<void*>(&WaitOnServedHost));
  return {ExportOf<CreateRemote>(library, "_ZN8quorvane20CreateQuorvaneRemoteEPKwS1_S1_"),
          ExportOf<CreateRemotePlain>(library, "CreateQuorvaneRemote"),
          ExportOf<CreateRemoteC>(library, "qv_create_remote"),
          ExportOf<LastErrorCode>(library, "qv_last_error_code"),
          ExportOf<LastErrorMessage>(library, "qv_last_error_message"),
          ExportOf<LastErrorKind>(library, "qv_last_error_kind"),
          ExportOf<LastErrorUnusable>(library, "qv_last_error_change_tracking_unusable")};
}

const LibraryEntryPoints& Library() {
  static const LibraryEntryPoints entryPoints = Load();
  if (entryPoints.createRemote == nullptr || entryPoints.createRemotePlain == nullptr ||
      entryPoints.createRemoteC == nullptr || entryPoints.lastErrorCode == nullptr ||
      entryPoints.lastErrorMessage == nullptr || entryPoints.lastErrorKind == nullptr ||
      entryPoints.lastErrorUnusable == nullptr) {
    throw DefaultException(kLibraryErrorCode, L"quorvane.dll or its entry points not found");
  }
  return entryPoints;
}

// Serves the host as this process's WMI, in the calling thread's apartment whatever the
// registry of the prefix says.
void ServeInThisProcess(std::shared_ptr<HostCore> host) {
  try {
    com::ServeInProcess(std::move(host));
  } catch (const ComError& failure) {
    throw DefaultException(static_cast<std::uint32_t>(failure.Status()),
                           L"the simulated host could not be served over COM");
  }
}

}  // namespace

IQuorvane* SimulatedHost::CreateQuorvane(const wchar_t* host, const wchar_t* user,
                                         const wchar_t* password) const {
  const auto& library = Library();
  ServeInThisProcess(core_);
  return library.createRemote(host, user, password);
}

std::uint32_t SimulatedHost::CreateQuorvane(const wchar_t* host, const wchar_t* user,
                                            const wchar_t* password, IQuorvane** out) const {
  const LibraryEntryPoints* library = nullptr;
  try {
    library = &Library();
    ServeInThisProcess(core_);
  } catch (const DefaultException& failure) {
    return failure.GetErrorCode();
  } catch (...) {
    return kLibraryErrorCode;
  }
  return library->createRemotePlain(host, user, password, out);
}

qv_status CreateRootHandle(const SimulatedHost& host, const char* hostName, const char* user,
                           const char* password, qv_root** out) noexcept {
  const LibraryEntryPoints* library = nullptr;
  const qv_status found = capi::RunGuarded([&] {
    capi::OutputOf(out);
    library = &Library();
    ServeInThisProcess(HostCoreAccess::Core(host));
  });
  if (found != QV_OK) {
    return found;
  }
  const qv_status status = library->createRemoteC(hostName, user, password, out);
  if (status != QV_OK) {
    // The failure was recorded by quorvane.dll; this module's readers give it too.
    capi::ThreadLastError().Set(library->lastErrorCode(), library->lastErrorKind(),
                                library->lastErrorUnusable() != 0, library->lastErrorMessage());
  }
  return status;
}

}  // namespace quorvane::sim
