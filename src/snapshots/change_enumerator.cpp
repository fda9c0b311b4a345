#include "snapshots/change_enumerator.h"

#include "snapshots/reference_points.h"
#include "util/creation.h"

namespace quorvane {

ChangeEnumerator* ChangeEnumerator::Create(WmiServicePtr service, std::wstring machineId,
                                           std::wstring snapshotId) {
  return CreateLoaded<ChangeEnumerator>(
      [](ChangeEnumerator& e) {
        e.Load();
        e.Reset();
      },
      std::move(service), std::move(machineId), std::move(snapshotId));
}

void ChangeEnumerator::Load() {
  for (auto& [diskId, changeTrackingId] :
       CollectChangeTrackingIds(service_, machineId_, snapshotId_)) {
    entries_.push_back({std::move(diskId), std::move(changeTrackingId)});
  }
}

}  // namespace quorvane
