#include "editing/resource_settings.h"

#include "quorvane/exceptions.h"
#include "wmi/wmi_job.h"
#include "wmi/wmi_read.h"

namespace quorvane {

WmiObjectPtr FindDefaultCapabilities(IWmiService& service, const std::wstring& subType) {
  WmiObjectPtr pool;
  for (const auto& candidate : service.QueryAll(L"Msvm_ResourcePool")) {
    if (ReadText(*candidate, L"ResourceSubType") == subType) {
      pool = candidate;
      break;
    }
  }
  if (!pool) {
    throw ObjectNotFoundException(kLibraryErrorCode, (L"Cannot find default: " + subType).c_str());
  }
  const auto capabilities =
      pool->GetAssociators(L"Msvm_AllocationCapabilities", L"Msvm_ElementCapabilities");
  if (capabilities.empty()) {
    throw ObjectNotFoundException(kLibraryErrorCode, L"Cannot find allocation capabilities");
  }
  for (const auto& entry :
       capabilities.front()->GetReferences(L"Msvm_SettingsDefineCapabilities")) {
    if (entry->GetProperty(L"ValueRole").AsInteger() == 0) {
      return entry;
    }
  }
  throw ObjectNotFoundException(kLibraryErrorCode, L"Cannot find SettingsDefineCapabilities");
}

WmiObjectPtr DefaultSettings(IWmiService& service, IWmiObject& capabilitiesEntry) {
  return service.GetObject(ReadText(capabilitiesEntry, L"PartComponent"));
}

WmiObjectPtr DefaultSettingsFor(IWmiService& service, const std::wstring& subType) {
  return DefaultSettings(service, *FindDefaultCapabilities(service, subType));
}

WmiObjectPtr FirstOrNew(IWmiService& service, IWmiObject& settings, const wchar_t* className) {
  const auto existing = settings.GetAssociatorsOfClass(className);
  return existing.empty() ? service.SpawnInstance(className) : existing.front();
}

void ModifyResources(const WmiServicePtr& service, IWmiObject& managementService,
                     const std::vector<std::wstring>& texts) {
  if (texts.empty()) {
    return;
  }
  const auto method = managementService.CreateMethod(L"ModifyResourceSettings");
  method->SetParameter(L"ResourceSettings", WmiValue::Array(texts));
  WmiJob(service, method).Run();
}

std::vector<std::wstring> AddResources(const WmiServicePtr& service, IWmiObject& managementService,
                                       IWmiObject& settings,
                                       const std::vector<std::wstring>& texts) {
  if (texts.empty()) {
    return {};
  }
  const auto method = managementService.CreateMethod(L"AddResourceSettings");
  method->SetParameter(L"AffectedConfiguration", WmiValue::String(settings.GetPath()));
  method->SetParameter(L"ResourceSettings", WmiValue::Array(texts));
  WmiJob(service, method).Run();
  return method->GetOutParameter(L"ResultingResourceSettings").AsWideStringArray();
}

void RemoveResources(const WmiServicePtr& service, IWmiObject& managementService,
                     const std::vector<std::wstring>& paths) {
  if (paths.empty()) {
    return;
  }
  const auto method = managementService.CreateMethod(L"RemoveResourceSettings");
  method->SetParameter(L"ResourceSettings", WmiValue::Array(paths));
  WmiJob(service, method).Run();
}

}  // namespace quorvane
