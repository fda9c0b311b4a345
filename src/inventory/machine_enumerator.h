#pragma once

#include <string>

#include "quorvane/inventory.h"
#include "util/enumerator_base.h"
#include "wmi/wmi.h"

namespace quorvane {

struct MachineEntry {
  std::wstring id;
  std::wstring parentId;
  std::wstring name;
  std::int64_t creationTime = 0;
};

// The machines of a host (empty system identifier) or the checkpoints of one machine.
class MachineEnumerator final : public EnumeratorBase<IMachineEnumerator, MachineEntry> {
 public:
  // Null when memory is short; a failed first read raises and leaves nothing behind.
  static MachineEnumerator* Create(WmiServicePtr service, std::wstring systemId);

  // Reads the list again and appends it to what is there: a second Reset lists every item twice.
  void Reset() override;
  const wchar_t* GetName() override { return TextOf(Current(), &MachineEntry::name); }
  std::int64_t GetCreationTime() override {
    return NumberOf(Current(), &MachineEntry::creationTime);
  }
  const wchar_t* GetId() override { return TextOf(Current(), &MachineEntry::id); }
  const wchar_t* GetParentId() override { return TextOf(Current(), &MachineEntry::parentId); }
  IMachineInfo* GetMachineInfo() override;

  MachineEnumerator(WmiServicePtr service, std::wstring systemId)
      : service_(std::move(service)), systemId_(std::move(systemId)) {}

 private:
  WmiServicePtr service_;
  std::wstring systemId_;
};

}  // namespace quorvane
