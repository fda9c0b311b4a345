#include "inventory/disk_change_enumerator.h"

#include "util/creation.h"

namespace quorvane {

DiskChangeEnumerator* DiskChangeEnumerator::Create(WmiServicePtr service, std::wstring path,
                                                   std::wstring limitId) {
  return CreateLoaded<DiskChangeEnumerator>([](DiskChangeEnumerator& e) { e.Reset(); },
                                            std::move(service), std::move(path),
                                            std::move(limitId));
}

void DiskChangeEnumerator::Reset() {
  entries_ = GetVirtualDiskChanges(*service_, path_, limitId_);
  Rewind();
}

}  // namespace quorvane
