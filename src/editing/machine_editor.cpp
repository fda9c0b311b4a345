#include "editing/machine_editor.h"

#include <new>

#include "editing/network.h"
#include "editing/processor_memory.h"
#include "editing/resource_settings.h"
#include "editing/security.h"
#include "editing/storage.h"
#include "hyperv/hyperv_names.h"
#include "hyperv/machine_lookup.h"
#include "wmi/wmi_job.h"
#include "wmi/wmi_read.h"

namespace quorvane {
MachineEditor* MachineEditor::Create(ServiceMap services, std::wstring machineId) {
  return new (std::nothrow) MachineEditor(std::move(services), std::move(machineId));
}

WmiServicePtr MachineEditor::HostGuardian() const {
  const auto found = services_.find(kHostGuardianKey);
  return found == services_.end() ? nullptr : found->second;
}

void MachineEditor::ModifySystem(IWmiObject& managementService, IWmiObject& settings) {
  if (!settings_.nameSet && !settings_.secureBootSet && !settings_.dynamicMemory) {
    return;
  }
  if (settings_.nameSet) {
    settings.SetProperty(L"ElementName", WmiValue::String(settings_.name));
  }
  if (settings_.secureBootSet) {
    settings.SetProperty(L"SecureBootEnabled", WmiValue::Int32(settings_.secureBoot ? 1 : 0));
  }
  if (settings_.dynamicMemory) {
    settings.SetProperty(L"VirtualNumaEnabled", WmiValue::Int32(0));
  }
  const auto method = managementService.CreateMethod(L"ModifySystemSettings");
  method->SetParameter(L"SystemSettings", WmiValue::String(settings.GetText()));
  WmiJob(service_, method).Run();
}

void MachineEditor::Commit() {
  const auto settings = FindRealizedSettingsBySystemId(*service_, machineId_);
  const auto managementService = service_->QueryFirst(L"Msvm_VirtualSystemManagementService");
  settings_.generation2 =
      ReadText(*settings, L"VirtualSystemSubType") == hyperv::kGeneration2SubType;
  ModifySystem(*managementService, *settings);
  ModifyResources(service_, *managementService,
                  EditedMachineMemoryAndProcessorTexts(*service_, *settings, settings_));
  if (!settings_.disks.empty()) {
    const auto current = ListMachineDisks(*service_, *settings, false);
    RemoveDisks(service_, *managementService, *settings);
    AttachDisks(service_, *managementService, *settings, settings_.disks, current,
                {settings_.generation2, settings_.scsiDataDisks});
  }
  if (!settings_.adapters.empty()) {
    RemoveAdapters(service_, *managementService, *settings);
    std::vector<std::wstring> adapterTexts;
    for (std::size_t i = 0; i < settings_.adapters.size(); ++i) {
      adapterTexts.push_back(NewSyntheticAdapterText(*service_));
    }
    AddResources(service_, *managementService, *settings, adapterTexts);
    ConnectAdapters(service_, *managementService, *settings, settings_.adapters);
  }
  ApplySecurity(service_, HostGuardian(), *settings);
}

}  // namespace quorvane
