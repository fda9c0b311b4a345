#include "entry/root_object.h"

#include "editing/machine_builder.h"
#include "editing/machine_editor.h"
#include "inventory/machine_enumerator.h"
#include "inventory/machine_info.h"
#include "inventory/switch_enumerator.h"
#include "lifecycle/machine_management.h"
#include "platform/hresult.h"
#include "snapshots/snapshot_management.h"
#include "util/creation.h"
#include "util/text.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

constexpr std::int64_t kValueRangePoint = 0;
constexpr std::int64_t kValueRoleSupported = 3;

// Connects key 0 then key 1. A failure on key 1 (no Host Guardian) only leaves that key out.
void ConnectAll(const WmiConnector& connector, const std::wstring& host, const std::wstring& user,
                const std::wstring& password, ServiceMap& services) {
  services[kVirtualizationKey] = connector({host, user, password, kVirtualizationNamespace});
  try {
    services[kHostGuardianKey] = connector({host, user, password, kHostGuardianNamespace});
  } catch (...) {
    services.erase(kHostGuardianKey);
  }
}

ServiceMap Connect(const WmiConnector& connector, const wchar_t* host, const wchar_t* user,
                   const wchar_t* password) {
  const std::wstring hostText = WideOrEmpty(host);
  const std::wstring userText = WideOrEmpty(user);
  const std::wstring passwordText = WideOrEmpty(password);
  const bool sendMarker = !hostText.empty() && user != nullptr && userText.empty();
  ServiceMap services;
  try {
    ConnectAll(connector, hostText, sendMarker ? kMarkerUser : userText, passwordText, services);
  } catch (const DefaultException& e) {
    const auto status = static_cast<HResult>(e.GetErrorCode());
    if (status == status::kWbemLocalCredentials) {
      ConnectAll(connector, L"", L"", L"", services);
    } else if (status == status::kRpcServerUnavailable || !sendMarker) {
      throw;
    } else {
      ConnectAll(connector, hostText, userText, passwordText, services);
    }
  }
  return services;
}

}  // namespace

Quorvane* Quorvane::Create(const WmiConnector& connector, const wchar_t* host, const wchar_t* user,
                           const wchar_t* password) {
  try {
    InitializeComForThread();
    ServiceMap services = Connect(connector, host, user, password);
    const bool remoteWithCredentials =
        host != nullptr && *host != L'\0' && user != nullptr && *user != L'\0';
    return CreateLoaded<Quorvane>([](Quorvane& root) { root.ReadMaxVersion(); },
                                  std::move(services), remoteWithCredentials);
  } catch (const DefaultException&) {
    throw;
  } catch (const std::exception&) {
    throw DefaultException(kLibraryErrorCode, L"Unknown");
  }
}

// The greatest supported version, compared as text on purpose: "10.0" sorts below "9.0".
void Quorvane::ReadMaxVersion() {
  IWmiService& service = *Virtualization();
  for (const auto& link : service.QueryAll(L"Msvm_SettingsDefineCapabilities")) {
    if (link->GetProperty(L"ValueRange").AsInteger() != kValueRangePoint ||
        link->GetProperty(L"ValueRole").AsInteger() != kValueRoleSupported) {
      continue;
    }
    const auto settings = service.GetObject(ReadText(*link, L"PartComponent"));
    const std::wstring version = ReadText(*settings, L"Version");
    if (version > maxVersion_) {
      maxVersion_ = version;
    }
  }
}

bool Quorvane::SupportsVersion62() {
  return IsVersion62OrLater(maxVersion_);
}

IMachineBuilder* Quorvane::CreateMachineBuilder() {
  return MachineBuilder::Create(Virtualization());
}

IMachineEditor* Quorvane::CreateMachineEditor(const wchar_t* machineId) {
  return MachineEditor::Create(services_, RequireText(machineId, L"Machine id"));
}

IEthernetSwithEnumerator* Quorvane::CreateSwitchEnumerator() {
  return EthernetSwithEnumerator::Create(Virtualization());
}

IMachineManagement* Quorvane::CreateMachineManagement(bool readLimits) {
  return MachineManagement::Create(Virtualization(), readLimits);
}

IMachineEnumerator* Quorvane::CreateMachineEnumerator() {
  return MachineEnumerator::Create(Virtualization(), L"");
}

ISnapshotManagement* Quorvane::CreateSnapshotManagement(const wchar_t* machineId) {
  return SnapshotManagement::Create(Virtualization(), RequireText(machineId, L"Machine id"));
}

}  // namespace quorvane
