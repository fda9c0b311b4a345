#include "inventory/disk_enumerator.h"

#include "hyperv/machine_lookup.h"
#include "inventory/disk_change_enumerator.h"
#include "util/creation.h"
#include "wmi/wmi_read.h"

namespace quorvane {

DiskEnumerator* DiskEnumerator::Create(WmiServicePtr service, std::wstring configurationId,
                                       bool includeDvd) {
  return CreateLoaded<DiskEnumerator>([](DiskEnumerator& e) { e.Reset(); }, std::move(service),
                                      std::move(configurationId), includeDvd);
}

void DiskEnumerator::Reset() {
  const auto settings = FindSettingsByConfigurationId(*service_, id_);
  entries_ = ListMachineDisks(*service_, *settings, includeDvd_);
  Rewind();
}

IDiskChangeEnumerator* DiskEnumerator::GetDiskChangeEnumerator(const wchar_t* changeTrackingId) {
  const wchar_t* path = GetPath();
  return DiskChangeEnumerator::Create(service_, path ? path : L"",
                                      RequireText(changeTrackingId, L"Change tracking id"));
}

}  // namespace quorvane
