#include "editing/network.h"

#include "editing/resource_settings.h"
#include "platform/platform.h"
#include "quorvane/exceptions.h"
#include "util/text.h"
#include "wmi/wmi_job.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

constexpr wchar_t kPortSubType[] = L"Microsoft:Hyper-V:Synthetic Ethernet Port";
constexpr wchar_t kConnectionSubType[] = L"Microsoft:Hyper-V:Ethernet Connection";
constexpr std::int32_t kSwitchedOff = 3;
constexpr std::int32_t kAccessMode = 1;

void AddVlan(const WmiServicePtr& service, IWmiObject& managementService, IWmiObject& connection,
             std::uint32_t vlanId) {
  const auto vlan = service->SpawnInstance(L"Msvm_EthernetSwitchPortVlanSettingData");
  vlan->SetProperty(L"AccessVlanId", WmiValue::Int32(static_cast<std::int32_t>(vlanId)));
  vlan->SetProperty(L"OperationMode", WmiValue::Int32(kAccessMode));
  const auto method = managementService.CreateMethod(L"AddFeatureSettings");
  method->SetParameter(L"AffectedConfiguration", WmiValue::String(connection.GetPath()));
  method->SetParameter(L"FeatureSettings",
                       WmiValue::Array(std::vector<std::wstring>{vlan->GetText()}));
  WmiJob(service, method).Run();
}

}  // namespace

std::wstring NewSyntheticAdapterText(IWmiService& service) {
  const auto adapter = DefaultSettingsFor(service, kPortSubType);
  adapter->SetProperty(L"ElementName", WmiValue::String(L"Network Adapter"));
  adapter->SetProperty(L"StaticMacAddress", WmiValue::Int32(0));
  adapter->SetProperty(L"VirtualSystemIdentifiers",
                       WmiValue::Array(std::vector<std::wstring>{platform::NewGuidText()}));
  return adapter->GetText();
}

WmiObjects ListSyntheticPorts(IWmiObject& settings) {
  return settings.GetAssociatorsOfClass(L"Msvm_SyntheticEthernetPortSettingData");
}

void ConnectAdapters(const WmiServicePtr& service, IWmiObject& managementService,
                     IWmiObject& settings, const std::vector<AdapterRequest>& adapters) {
  const auto ports = ListSyntheticPorts(settings);
  if (ports.size() != adapters.size()) {
    throw DefaultException(kLibraryErrorCode, L"Adapters != networks size");
  }
  for (std::size_t i = 0; i < ports.size(); ++i) {
    const AdapterRequest& request = adapters[i];
    if (request.switchName.empty() && request.vlanId == kNoVlan) {
      continue;
    }
    const auto connection =
        ConnectAdapter(service, managementService, settings, ports[i]->GetPath(), request);
    if (request.vlanId < kNoVlan) {
      AddVlan(service, managementService, *connection, request.vlanId);
    }
  }
}

WmiObjectPtr ConnectAdapter(const WmiServicePtr& service, IWmiObject& managementService,
                            IWmiObject& settings, const std::wstring& portPath,
                            const AdapterRequest& request) {
  for (const auto& existing :
       settings.GetAssociatorsOfClass(L"Msvm_EthernetPortAllocationSettingData")) {
    if (ReadText(*existing, L"Parent") == portPath) {
      return existing;
    }
  }
  const auto connection = DefaultSettingsFor(*service, kConnectionSubType);
  const std::wstring switchPath = FindSwitch(*service, request.switchName);
  if (switchPath.empty()) {
    connection->SetProperty(L"EnabledState", WmiValue::Int32(kSwitchedOff));
  }
  connection->SetProperty(L"HostResource", WmiValue::Array(std::vector<std::wstring>{switchPath}));
  connection->SetProperty(L"Parent", WmiValue::String(portPath));
  const auto made = AddResources(service, managementService, settings, {connection->GetText()});
  if (made.empty()) {
    throw DefaultException(kLibraryErrorCode, L"Cannot create adapter allocation");
  }
  return service->GetObject(made.front());
}

std::wstring FindSwitch(IWmiService& service, const std::wstring& name) {
  if (name.empty()) {
    return L"";
  }
  const auto found = service.ExecQuery(L"Select * from Msvm_VirtualEthernetSwitch where Name=" +
                                       QuotedLiteral(name));
  if (found.empty()) {
    throw DefaultException(kLibraryErrorCode, L"Cannot find switch");
  }
  return found.front()->GetPath();
}

void RemoveAdapters(const WmiServicePtr& service, IWmiObject& managementService,
                    IWmiObject& settings) {
  std::vector<std::wstring> ports;
  for (const auto& port : ListSyntheticPorts(settings)) {
    ports.push_back(port->GetPath());
  }
  std::vector<std::wstring> connections;
  // The query names the class with a trailing blank, which WQL ignores.
  for (const auto& connection :
       settings.GetAssociatorsOfClass(L"Msvm_EthernetPortAllocationSettingData ")) {
    if (ReadText(*connection, L"ResourceSubType") == kConnectionSubType) {
      connections.push_back(connection->GetPath());
    }
  }
  RemoveResources(service, managementService, connections);
  RemoveResources(service, managementService, ports);
}

}  // namespace quorvane
