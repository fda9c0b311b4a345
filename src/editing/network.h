#pragma once

#include <string>
#include <vector>

#include "editing/machine_settings.h"
#include "wmi/wmi.h"

namespace quorvane {

// The text of a new synthetic adapter ("Network Adapter", dynamic MAC, a fresh identifier).
std::wstring NewSyntheticAdapterText(IWmiService& service);

WmiObjects ListSyntheticPorts(IWmiObject& settings);

// Pairs the machine's ports with the requests in order, connects each port that has a switch
// or a VLAN, and gives it its VLAN in access mode.
void ConnectAdapters(const WmiServicePtr& service, IWmiObject& managementService,
                     IWmiObject& settings, const std::vector<AdapterRequest>& adapters);

// The connection of the port: the existing one, or a new one to the named switch (switched off
// when no switch is named).
WmiObjectPtr ConnectAdapter(const WmiServicePtr& service, IWmiObject& managementService,
                            IWmiObject& settings, const std::wstring& portPath,
                            const AdapterRequest& request);

// The path of the switch whose "Name" (identifier) is `name`; "" for an empty name.
std::wstring FindSwitch(IWmiService& service, const std::wstring& name);

// Removes the machine's connections, then its synthetic ports.
void RemoveAdapters(const WmiServicePtr& service, IWmiObject& managementService,
                    IWmiObject& settings);

}  // namespace quorvane
