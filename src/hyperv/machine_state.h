#pragma once

#include <cstdint>
#include <string>

#include "wmi/wmi.h"

namespace quorvane {

// The Msvm_ComputerSystem whose "Name" is `machine`; VmNotFoundException
// ("Cannot find machine: " + name) when there is none.
WmiObjectPtr FindMachine(IWmiService& service, const std::wstring& machine);

std::uint32_t QueryEnabledState(IWmiService& service, const std::wstring& machine);

// The first "OperationalStatus" element, or the second when the first is OK (2) and there is
// one; an empty status reads as OK.
std::uint32_t QueryOperationalStatus(IWmiService& service, const std::wstring& machine);

}  // namespace quorvane
