#include "inventory/switch_enumerator.h"

#include "util/creation.h"
#include "wmi/wmi_read.h"

namespace quorvane {

std::vector<SwitchEntry> ListSwitches(IWmiService& service) {
  std::vector<SwitchEntry> switches;
  for (const auto& settings : service.QueryAll(L"Msvm_VirtualEthernetSwitchSettingData")) {
    SwitchEntry entry;
    entry.name = ReadText(*settings, L"ElementName");
    entry.id = ReadText(*settings, L"VirtualSystemIdentifier");
    switches.push_back(std::move(entry));
  }
  return switches;
}

EthernetSwithEnumerator* EthernetSwithEnumerator::Create(WmiServicePtr service) {
  return CreateLoaded<EthernetSwithEnumerator>([](EthernetSwithEnumerator& e) { e.Reset(); },
                                               std::move(service));
}

void EthernetSwithEnumerator::Reset() {
  entries_ = ListSwitches(*service_);
  Rewind();
}

}  // namespace quorvane
