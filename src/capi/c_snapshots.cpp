// Checkpoints, change tracking identifiers and changed byte ranges.
#include "capi/c_calls.h"

using namespace quorvane;
using namespace quorvane::capi;

extern "C" {

void qv_snapshot_management_release(qv_snapshot_management* snapshots) {
  delete snapshots;
}

qv_status qv_snapshot_management_create_standard_snapshot(qv_snapshot_management* snapshots) {
  return Act(snapshots, [](ISnapshotManagement& object) { object.CreateStandardSnapshot(); });
}

qv_status qv_snapshot_management_create_recovery_snapshot(qv_snapshot_management* snapshots,
                                                          int allow_fallback,
                                                          int* application_consistent_failed,
                                                          int32_t* consistency_level) {
  return RunGuarded([&] {
    auto& level = OutputOf(consistency_level);
    if (application_consistent_failed != nullptr) {
      *application_consistent_failed = 0;
    }
    auto& object = ObjectOf(snapshots);
    bool failed = false;
    level = object.CreateRecoverySnapshot(allow_fallback != 0, &failed);
    if (application_consistent_failed != nullptr) {
      *application_consistent_failed = failed ? 1 : 0;
    }
  });
}

qv_status qv_snapshot_management_is_recovery_snapshot(qv_snapshot_management* snapshots,
                                                      const char* snapshot_id, int* out) {
  return GetValueFor(snapshots, &ISnapshotManagement::IsRecoverySnapshot, snapshot_id, out);
}

qv_status qv_snapshot_management_apply_snapshot(qv_snapshot_management* snapshots,
                                                const char* snapshot_id) {
  return Act(snapshots, [&](ISnapshotManagement& object) {
    object.ApplySnapshot(WideArgument(snapshot_id).get());
  });
}

qv_status qv_snapshot_management_destroy_snapshot(qv_snapshot_management* snapshots,
                                                  const char* snapshot_id, int with_subtree) {
  return Act(snapshots, [&](ISnapshotManagement& object) {
    object.DestroySnapshot(WideArgument(snapshot_id).get(), with_subtree != 0);
  });
}

qv_status qv_snapshot_management_rename_snapshot(qv_snapshot_management* snapshots,
                                                 const char* snapshot_id, const char* name) {
  return Act(snapshots, [&](ISnapshotManagement& object) {
    const WideArgument wideId(snapshot_id), wideName(name);
    object.RenameSnapshot(wideId.get(), wideName.get());
  });
}

qv_status qv_snapshot_management_get_last_snapshot_id(qv_snapshot_management* snapshots,
                                                      const char** out) {
  return GetText(snapshots, 0, &ISnapshotManagement::GetLastSnapshotId, out);
}

qv_status qv_snapshot_management_get_snapshot_info(qv_snapshot_management* snapshots,
                                                   const char* snapshot_id, qv_machine_info** out) {
  return MakeHandle(snapshots, out, [&](ISnapshotManagement& object) {
    return object.GetSnapshotInfo(WideArgument(snapshot_id).get());
  });
}

qv_status qv_snapshot_management_enumerate_snapshots(qv_snapshot_management* snapshots,
                                                     qv_machine_enumerator** out) {
  return MakeHandle(snapshots, out,
                    [](ISnapshotManagement& object) { return object.EnumerateSnapshots(); });
}

qv_status qv_snapshot_management_get_change_enumerator(qv_snapshot_management* snapshots,
                                                       const char* snapshot_id,
                                                       qv_change_enumerator** out) {
  return MakeHandle(snapshots, out, [&](ISnapshotManagement& object) {
    return object.GetChangeEnumerator(WideArgument(snapshot_id).get());
  });
}

qv_status qv_snapshot_management_create_snapshot_of_type(qv_snapshot_management* snapshots,
                                                         uint32_t snapshot_type,
                                                         uint32_t consistency_level) {
  return Act(snapshots, [&](ISnapshotManagement& object) {
    object.CreateSnapshotOfType(snapshot_type, consistency_level);
  });
}

void qv_change_enumerator_release(qv_change_enumerator* changes) {
  delete changes;
}

qv_status qv_change_enumerator_reset(qv_change_enumerator* changes) {
  return Act(changes, [](IChangeEnumerator& object) { object.Reset(); });
}

qv_status qv_change_enumerator_next(qv_change_enumerator* changes, int* has_entry) {
  return GetValue(changes, &IChangeEnumerator::Next, has_entry);
}

qv_status qv_change_enumerator_get_disk_id(qv_change_enumerator* changes, const char** out) {
  return GetText(changes, 0, &IChangeEnumerator::GetDiskId, out);
}

qv_status qv_change_enumerator_get_change_tracking_id(qv_change_enumerator* changes,
                                                      const char** out) {
  return GetText(changes, 1, &IChangeEnumerator::GetChangeTrackingId, out);
}

void qv_disk_change_enumerator_release(qv_disk_change_enumerator* ranges) {
  delete ranges;
}

qv_status qv_disk_change_enumerator_reset(qv_disk_change_enumerator* ranges) {
  return Act(ranges, [](IDiskChangeEnumerator& object) { object.Reset(); });
}

qv_status qv_disk_change_enumerator_next(qv_disk_change_enumerator* ranges, int* has_entry) {
  return GetValue(ranges, &IDiskChangeEnumerator::Next, has_entry);
}

qv_status qv_disk_change_enumerator_get_offset(qv_disk_change_enumerator* ranges, uint64_t* out) {
  return GetValue(ranges, &IDiskChangeEnumerator::GetOffset, out);
}

qv_status qv_disk_change_enumerator_get_length(qv_disk_change_enumerator* ranges, uint64_t* out) {
  return GetValue(ranges, &IDiskChangeEnumerator::GetLength, out);
}

}  // extern "C"
