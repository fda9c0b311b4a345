#include "editing/machine_builder.h"

#include <new>

#include "editing/network.h"
#include "editing/processor_memory.h"
#include "editing/resource_settings.h"
#include "editing/storage.h"
#include "hyperv/hyperv_names.h"
#include "quorvane/exceptions.h"
#include "wmi/wmi_job.h"
#include "wmi/wmi_read.h"

namespace quorvane {
MachineBuilder* MachineBuilder::Create(WmiServicePtr service) {
  return new (std::nothrow) MachineBuilder(std::move(service));
}

WmiObjectPtr MachineBuilder::NewSystemSettings() {
  const auto system = service_->SpawnInstance(L"Msvm_VirtualSystemSettingData");
  system->SetProperty(L"ElementName", WmiValue::String(settings_.name));
  if (settings_.generation2) {
    system->SetProperty(L"VirtualSystemSubType", WmiValue::String(hyperv::kGeneration2SubType));
    if (settings_.secureBootSet) {
      system->SetProperty(L"SecureBootEnabled", WmiValue::Int32(settings_.secureBoot ? 1 : 0));
    }
  }
  if (!settings_.version.empty()) {
    system->SetProperty(L"Version", WmiValue::String(settings_.version));
  }
  if (!settings_.configurationDataRoot.empty()) {
    system->SetProperty(L"ConfigurationDataRoot",
                        WmiValue::String(settings_.configurationDataRoot));
  }
  if (!settings_.snapshotDataRoot.empty()) {
    system->SetProperty(L"SnapshotDataRoot", WmiValue::String(settings_.snapshotDataRoot));
  }
  if (settings_.dynamicMemory) {
    system->SetProperty(L"VirtualNumaEnabled", WmiValue::Int32(0));
  }
  return system;
}

WmiObjectPtr MachineBuilder::DefineSystem(IWmiObject& managementService, IWmiObject& system) {
  const auto method = managementService.CreateMethod(L"DefineSystem");
  method->SetParameter(L"SystemSettings", WmiValue::String(system.GetText()));
  WmiJob(service_, method).Run();
  return service_->GetObject(method->GetOutParameter(L"ResultingSystem").AsWideString());
}

void MachineBuilder::Commit() {
  const auto definition = NewSystemSettings();
  std::vector<std::wstring> adapterTexts;
  for (std::size_t i = 0; i < settings_.adapters.size(); ++i) {
    adapterTexts.push_back(NewSyntheticAdapterText(*service_));
  }
  const auto managementService = service_->QueryFirst(L"Msvm_VirtualSystemManagementService");
  const auto system = DefineSystem(*managementService, *definition);
  machineId_ = ReadText(*system, L"Name");
  const auto allSettings = system->GetAssociatorsOfClass(L"Msvm_VirtualSystemSettingData");
  if (allSettings.empty()) {
    throw ObjectNotFoundException(kLibraryErrorCode, L"Cannot find VirtualSystemSettingData");
  }
  IWmiObject& settings = *allSettings.front();
  AttachDisks(service_, *managementService, settings, settings_.disks, {},
              {settings_.generation2, settings_.scsiDataDisks});
  ModifyResources(service_, *managementService,
                  NewMachineProcessorAndMemoryTexts(*service_, settings, settings_));
  AddResources(service_, *managementService, settings, adapterTexts);
  if (!settings_.adapters.empty()) {
    ConnectAdapters(service_, *managementService, settings, settings_.adapters);
  }
}

}  // namespace quorvane
