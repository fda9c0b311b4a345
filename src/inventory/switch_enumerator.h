#pragma once

#include <string>

#include "quorvane/inventory.h"
#include "util/enumerator_base.h"
#include "wmi/wmi.h"

namespace quorvane {

struct SwitchEntry {
  std::wstring name;
  std::wstring id;
};

// The host's virtual Ethernet switches; Reset replaces the list.
class EthernetSwithEnumerator final : public EnumeratorBase<IEthernetSwithEnumerator, SwitchEntry> {
 public:
  static EthernetSwithEnumerator* Create(WmiServicePtr service);

  explicit EthernetSwithEnumerator(WmiServicePtr service) : service_(std::move(service)) {}

  void Reset() override;
  const wchar_t* GetName() override { return TextOf(Current(), &SwitchEntry::name); }
  const wchar_t* GetId() override { return TextOf(Current(), &SwitchEntry::id); }

 private:
  WmiServicePtr service_;
};

std::vector<SwitchEntry> ListSwitches(IWmiService& service);

}  // namespace quorvane
