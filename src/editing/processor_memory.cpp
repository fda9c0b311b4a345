// The processor and memory settings texts that the builder and the editor hand to
// "ModifyResourceSettings", each in its own order and on its own condition.
#include "editing/processor_memory.h"

#include "editing/resource_settings.h"

namespace quorvane {
namespace {

std::wstring ProcessorText(IWmiService& service, IWmiObject& settings,
                           const MachineSettings& wanted) {
  const auto processor = FirstOrNew(service, settings, L"Msvm_ProcessorSettingData");
  processor->SetProperty(L"VirtualQuantity",
                         WmiValue::String(std::to_wstring(wanted.processorCount)));
  return processor->GetText();
}

std::wstring MemoryText(IWmiService& service, IWmiObject& settings, const MachineSettings& wanted) {
  const auto memory = FirstOrNew(service, settings, L"Msvm_MemorySettingData");
  if (wanted.memorySet) {
    memory->SetProperty(L"VirtualQuantity",
                        WmiValue::String(std::to_wstring(wanted.memoryMegabytes)));
  }
  if (wanted.dynamicMemorySet) {
    // Written as the text "1" or "0", not as a boolean.
    memory->SetProperty(L"DynamicMemoryEnabled",
                        WmiValue::String(wanted.dynamicMemory ? L"1" : L"0"));
  }
  return memory->GetText();
}

}  // namespace

std::vector<std::wstring> NewMachineProcessorAndMemoryTexts(IWmiService& service,
                                                            IWmiObject& settings,
                                                            const MachineSettings& wanted) {
  std::vector<std::wstring> texts;
  if (wanted.processorCountSet) {
    texts.push_back(ProcessorText(service, settings, wanted));
  }
  if (wanted.memorySet || wanted.dynamicMemorySet) {
    texts.push_back(MemoryText(service, settings, wanted));
  }
  return texts;
}

std::vector<std::wstring> EditedMachineMemoryAndProcessorTexts(IWmiService& service,
                                                               IWmiObject& settings,
                                                               const MachineSettings& wanted) {
  std::vector<std::wstring> texts;
  // The editor asks for the memory whenever dynamic memory is on, set or not.
  if (wanted.memorySet || wanted.dynamicMemory) {
    texts.push_back(MemoryText(service, settings, wanted));
  }
  if (wanted.processorCountSet) {
    texts.push_back(ProcessorText(service, settings, wanted));
  }
  return texts;
}

}  // namespace quorvane
