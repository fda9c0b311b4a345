#include "hyperv/machine_lookup.h"

#include "quorvane/exceptions.h"
#include "util/case_insensitive.h"
#include "util/text.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

// Realized, recovery and planned checkpoints alike.
constexpr wchar_t kSnapshotTypePrefix[] = L"Microsoft:Hyper-V:Snapshot:";

WmiObjectPtr FirstSettings(IWmiService& service, const std::wstring& query,
                           const std::wstring& id) {
  // The service itself is not needed: the lookup is a probe whose failure (no management
  // service on the host) is raised before the query runs, as Hyper-V's own clients do.
  service.QueryFirst(L"Msvm_VirtualSystemManagementService");
  auto found = service.ExecQuery(query);
  if (found.empty()) {
    throw VmNotFoundException(kLibraryErrorCode, (L"Cannot find vm with id: " + id).c_str());
  }
  return found.front();
}

}  // namespace

WmiObjectPtr FindSettingsByConfigurationId(IWmiService& service,
                                           const std::wstring& configurationId) {
  return FirstSettings(service,
                       L"SELECT * FROM Msvm_VirtualSystemSettingData WHERE ConfigurationID = " +
                           QuotedLiteral(configurationId),
                       configurationId);
}

WmiObjectPtr FindCheckpointSettings(IWmiService& service, const std::wstring& snapshotId,
                                    const std::wstring& machineId) {
  auto settings = FindSettingsByConfigurationId(service, snapshotId);
  if (ReadText(*settings, L"VirtualSystemType").rfind(kSnapshotTypePrefix, 0) != 0) {
    throw DefaultException(kLibraryErrorCode,
                           (L"Snapshot id names no checkpoint: " + snapshotId).c_str());
  }
  if (!EqualsNoCase(ReadText(*settings, L"VirtualSystemIdentifier"), machineId)) {
    throw DefaultException(
        kLibraryErrorCode,
        (L"Snapshot id names a checkpoint of another machine: " + snapshotId).c_str());
  }
  return settings;
}

WmiObjectPtr FindRealizedSettingsBySystemId(IWmiService& service, const std::wstring& systemId) {
  return FirstSettings(service,
                       L"SELECT * FROM Msvm_VirtualSystemSettingData WHERE VirtualSystemIdentifier "
                       L"= " +
                           QuotedLiteral(systemId) + L" AND VirtualSystemType = " +
                           QuotedLiteral(kRealizedSystemType),
                       systemId);
}

std::wstring ReadParentSnapshotId(IWmiService& service, IWmiObject& settings) {
  const std::wstring parentPath = ReadText(settings, L"Parent");
  if (parentPath.empty()) {
    return L"";
  }
  const auto parent = service.GetObject(parentPath);
  if (ReadText(*parent, L"VirtualSystemType") != kRealizedSnapshotType) {
    return L"";
  }
  return ReadText(*parent, L"ConfigurationID");
}

}  // namespace quorvane
