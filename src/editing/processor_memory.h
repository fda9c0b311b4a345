#pragma once

#include <string>
#include <vector>

#include "editing/machine_settings.h"
#include "wmi/wmi.h"

namespace quorvane {

// A new machine's processor text (when the count was set), then its memory text (when the size
// or dynamic memory was set).
std::vector<std::wstring> NewMachineProcessorAndMemoryTexts(IWmiService& service,
                                                            IWmiObject& settings,
                                                            const MachineSettings& wanted);

// An edited machine's memory text (when the size was set or dynamic memory is on), then its
// processor text (when the count was set).
std::vector<std::wstring> EditedMachineMemoryAndProcessorTexts(IWmiService& service,
                                                               IWmiObject& settings,
                                                               const MachineSettings& wanted);

}  // namespace quorvane
