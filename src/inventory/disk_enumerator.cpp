#include "inventory/disk_enumerator.h"

#include "entry/not_available.h"

namespace quorvane {

IDiskEnumerator* DiskEnumerator::Create(WmiServicePtr, std::wstring, bool) {
  ThrowNotAvailable(L"CreateDiskEnumerator");
}

}  // namespace quorvane
