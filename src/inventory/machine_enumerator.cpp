#include "inventory/machine_enumerator.h"

#include "hyperv/machine_lookup.h"
#include "inventory/machine_info.h"
#include "util/creation.h"
#include "util/text.h"
#include "wmi/datetime.h"
#include "wmi/wmi_read.h"

namespace quorvane {

MachineEnumerator* MachineEnumerator::Create(WmiServicePtr service, std::wstring systemId) {
  return CreateLoaded<MachineEnumerator>([](MachineEnumerator& e) { e.Reset(); },
                                         std::move(service), std::move(systemId));
}

void MachineEnumerator::Reset() {
  std::wstring query = L"Select * from Msvm_VirtualSystemSettingData";
  std::wstring wantedType = kRealizedSystemType;
  if (!systemId_.empty()) {
    query += L" where VirtualSystemIdentifier=" + QuotedLiteral(systemId_);
    wantedType = kRealizedSnapshotType;
  }
  for (const auto& settings : service_->ExecQuery(query)) {
    if (ReadText(*settings, L"VirtualSystemType") != wantedType) {
      continue;
    }
    MachineEntry entry;
    entry.creationTime = ReadDatetime(settings->GetProperty(L"CreationTime"));
    entry.name = ReadText(*settings, L"ElementName");
    entry.id = ReadText(*settings, L"ConfigurationID");
    entry.parentId = ReadParentSnapshotId(*service_, *settings);
    entries_.push_back(std::move(entry));
  }
  Rewind();
}

IMachineInfo* MachineEnumerator::GetMachineInfo() {
  const MachineEntry* entry = Current();
  return entry ? MachineInfo::Create(service_, entry->id) : nullptr;
}

}  // namespace quorvane
