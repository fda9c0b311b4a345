#pragma once

#include <string>
#include <vector>

#include "wmi/wmi.h"

namespace quorvane {

// The host's default settings object for a resource subtype ("Microsoft:Hyper-V:Synthetic Disk
// Drive", ...): found through its resource pool and allocation capabilities.
WmiObjectPtr FindDefaultCapabilities(IWmiService& service, const std::wstring& subType);
// A freshly fetched copy of the default settings an entry names.
WmiObjectPtr DefaultSettings(IWmiService& service, IWmiObject& capabilitiesEntry);
WmiObjectPtr DefaultSettingsFor(IWmiService& service, const std::wstring& subType);

// The first settings object of `className` belonging to the machine's settings, or a new
// instance of the class when there is none.
WmiObjectPtr FirstOrNew(IWmiService& service, IWmiObject& settings, const wchar_t* className);

// "ModifyResourceSettings" with all texts in one call; no call for an empty list.
void ModifyResources(const WmiServicePtr& service, IWmiObject& managementService,
                     const std::vector<std::wstring>& texts);
// "AddResourceSettings" on the settings with all texts in one call; the paths of what it made
// ("ResultingResourceSettings"), or nothing without a call for an empty list.
std::vector<std::wstring> AddResources(const WmiServicePtr& service, IWmiObject& managementService,
                                       IWmiObject& settings,
                                       const std::vector<std::wstring>& texts);
// "RemoveResourceSettings" for all paths in one call; no call for an empty list.
void RemoveResources(const WmiServicePtr& service, IWmiObject& managementService,
                     const std::vector<std::wstring>& paths);

}  // namespace quorvane
