/* Every WMI call of each operation failed in turn, through the C interface: the operation must
 * return the injected code with its message, the library's exception kind, and (in the
 * sanitizer build) nothing may leak or crash on any of these paths. */
#include <stdlib.h>

#include "c_check.h"
#include "c_scene.h"

static const uint32_t kStatus = 0x80041001u; /* WBEM_E_FAILED: no special handling anywhere */
static const uint32_t kReturnValue = 32768u;
static const uint16_t kJobError = 32769u;
static const char kJobDescription[] = "injected job failure";

/* Each operation stops at its first failure and returns it. */
#define TRY(call)          \
  do {                     \
    status = (call);       \
    if (status != QV_OK) { \
      goto done;           \
    }                      \
  } while (0)

static qv_status make_root(struct scene* s) {
  qv_root* root = NULL;
  qv_status status = qv_sim_host_create_root(s->host, "HV-HOST01", "admin", "pw", &root);
  qv_root_release(root);
  return status;
}

static qv_status walk_machines(struct scene* s) {
  qv_status status;
  qv_machine_enumerator* machines = NULL;
  qv_machine_info* info = NULL;
  qv_disk_enumerator* disks = NULL;
  const char* text;
  int has = 0;
  TRY(qv_root_create_machine_enumerator(s->root, &machines));
  for (;;) {
    TRY(qv_machine_enumerator_next(machines, &has));
    if (!has) {
      break;
    }
    TRY(qv_machine_enumerator_get_name(machines, &text));
    qv_machine_info_release(info);
    info = NULL;
    TRY(qv_machine_enumerator_get_machine_info(machines, &info));
    qv_disk_enumerator_release(disks);
    disks = NULL;
    TRY(qv_machine_info_create_disk_enumerator(info, 1, &disks));
  }
done:
  qv_disk_enumerator_release(disks);
  qv_machine_info_release(info);
  qv_machine_enumerator_release(machines);
  return status;
}

static qv_status power(struct scene* s) {
  qv_status status;
  qv_machine_management* management = NULL;
  uint32_t state;
  TRY(qv_root_create_machine_management(s->root, 1, &management));
  TRY(qv_machine_management_start(management, s->off));
  TRY(qv_machine_management_save(management, s->running));
  TRY(qv_machine_management_get_enabled_state(management, s->running, &state));
done:
  qv_machine_management_release(management);
  return status;
}

static qv_status checkpoints(struct scene* s) {
  qv_status status;
  qv_snapshot_management* snapshots = NULL;
  TRY(qv_root_create_snapshot_management(s->root, s->off, &snapshots));
  TRY(qv_snapshot_management_create_standard_snapshot(snapshots));
  TRY(qv_snapshot_management_rename_snapshot(snapshots, s->checkpoint, "renamed"));
  TRY(qv_snapshot_management_apply_snapshot(snapshots, s->checkpoint));
  TRY(qv_snapshot_management_destroy_snapshot(snapshots, s->checkpoint, 1));
done:
  qv_snapshot_management_release(snapshots);
  return status;
}

static qv_status backup(struct scene* s) {
  qv_status status;
  qv_snapshot_management* snapshots = NULL;
  qv_change_enumerator* changes = NULL;
  qv_machine_management* management = NULL;
  qv_machine_info* info = NULL;
  qv_disk_enumerator* disks = NULL;
  qv_disk_change_enumerator* ranges = NULL;
  const char* text;
  char recovery[64], kept[128] = "";
  int has = 0, failed = 0;
  int32_t level;
  TRY(qv_root_create_snapshot_management(s->root, s->running, &snapshots));
  TRY(qv_snapshot_management_create_recovery_snapshot(snapshots, 0, &failed, &level));
  TRY(qv_snapshot_management_get_last_snapshot_id(snapshots, &text));
  scene_keep_id(recovery, text);
  TRY(qv_snapshot_management_get_change_enumerator(snapshots, recovery, &changes));
  TRY(qv_change_enumerator_next(changes, &has));
  TRY(qv_change_enumerator_get_change_tracking_id(changes, &text));
  if (text != NULL && strlen(text) < sizeof kept) {
    strcpy(kept, text);
  }
  TRY(qv_root_create_machine_management(s->root, 0, &management));
  TRY(qv_machine_management_get_machine_info(management, s->running, &info));
  TRY(qv_machine_info_create_disk_enumerator(info, 0, &disks));
  TRY(qv_disk_enumerator_next(disks, &has));
  TRY(qv_disk_enumerator_get_disk_change_enumerator(disks, kept, &ranges));
  TRY(qv_disk_change_enumerator_next(ranges, &has));
done:
  qv_disk_change_enumerator_release(ranges);
  qv_disk_enumerator_release(disks);
  qv_machine_info_release(info);
  qv_machine_management_release(management);
  qv_change_enumerator_release(changes);
  qv_snapshot_management_release(snapshots);
  return status;
}

static qv_status define_and_edit(struct scene* s) {
  qv_status status;
  qv_machine_builder* builder = NULL;
  qv_machine_editor* editor = NULL;
  qv_machine_editor* existing = NULL;
  TRY(qv_root_create_machine_builder(s->root, &builder));
  TRY(qv_machine_builder_editor(builder, &editor));
  TRY(qv_machine_editor_set_name(editor, "new"));
  TRY(qv_machine_editor_add_disk(editor, "E:\\new.vhdx"));
  TRY(qv_machine_editor_add_network_adapter_with_vlan(editor, s->lan, 12));
  TRY(qv_machine_editor_commit(editor));
  TRY(qv_root_create_machine_editor(s->root, s->off, &existing));
  TRY(qv_machine_editor_set_memory_size(existing, 2048));
  TRY(qv_machine_editor_add_disconnected_network_adapter(existing));
  TRY(qv_machine_editor_commit(existing));
done:
  qv_machine_editor_release(existing);
  qv_machine_builder_release(builder);
  return status;
}

struct operation {
  const char* name;
  qv_status (*run)(struct scene*);
};

static const struct operation kOperations[] = {
    {"root", make_root},          {"machines", walk_machines}, {"power", power},
    {"checkpoints", checkpoints}, {"backup", backup},          {"define and edit", define_and_edit},
};

struct figures {
  int points;
  int deviations;
};

/* The class a method ran on, from the object path of the call. */
static void class_of(const char* target, char* out, size_t size) {
  const char* start = strchr(target, ':');
  size_t length;
  start = start != NULL ? start + 1 : target;
  length = strcspn(start, ".");
  if (length >= size) {
    length = size - 1;
  }
  memcpy(out, start, length);
  out[length] = '\0';
}

enum fault { kFaultStatus, kFaultReturnValue, kFaultJob };

static void inject(const struct operation* operation, enum fault fault, const char* call_operation,
                   const char* call_target, const char* cls, const char* method, int nth,
                   struct figures* figures) {
  struct scene s;
  qv_status status, expected = 0;
  char message[64] = "";
  scene_open(&s);
  CHECK_OK(qv_sim_host_clear_call_log(s.host));
  switch (fault) {
    case kFaultStatus:
      expected = kStatus;
      CHECK_OK(qv_sim_host_fail_nth_operation(s.host, call_operation, "", nth, kStatus,
                                              QV_SIM_FAULT_WMI_STATUS));
      break;
    case kFaultReturnValue:
      expected = kReturnValue;
      snprintf(message, sizeof message, "Wmi error on run method: %u", (unsigned)kReturnValue);
      CHECK_OK(qv_sim_host_fail_nth_method_call(s.host, cls, method, nth, kReturnValue));
      break;
    case kFaultJob:
      expected = kJobError;
      snprintf(message, sizeof message, "%s", kJobDescription);
      CHECK_OK(qv_sim_host_fail_nth_job(s.host, cls, method, nth, kJobError, kJobDescription));
      break;
  }
  status = operation->run(&s);
  ++figures->points;
  /* The host guardian namespace is optional: a root is made without it. */
  if (status == QV_OK && strcmp(call_operation, "Connect") == 0 &&
      strstr(call_target, "hgs") != NULL) {
    /* documented */
  } else if (status != expected || qv_last_error_message()[0] == '\0' ||
             qv_last_error_kind() != QV_ERROR_DEFAULT ||
             (message[0] != '\0' && strcmp(qv_last_error_message(), message) != 0)) {
    ++figures->deviations;
    fprintf(stderr, "fault sweep: %s, %s %s #%d: returned 0x%08X \"%s\"\n", operation->name,
            call_operation, method, nth, (unsigned)status,
            status != QV_OK ? qv_last_error_message() : "");
  }
  scene_close(&s, NULL);
}

/* The operations each kind of call had before the one at `index`, to name it as its n-th. */
static int nth_of(qv_sim_call_log* log, uint64_t index, const char* operation, const char* cls,
                  const char* method) {
  uint64_t i;
  int nth = 0;
  for (i = 0; i <= index; ++i) {
    const char *op, *target, *m;
    char c[128];
    qv_sim_call_log_get(log, i, &op, NULL, &target, &m, NULL, NULL);
    class_of(target, c, sizeof c);
    if (strcmp(op, operation) == 0 &&
        (cls == NULL || (strcmp(c, cls) == 0 && strcmp(m, method) == 0))) {
      ++nth;
    }
  }
  return nth;
}

static void sweep(const struct operation* operation, struct figures* figures) {
  struct scene s;
  qv_sim_call_log* log = NULL;
  uint64_t count = 0, i;
  scene_open(&s);
  CHECK_OK(qv_sim_host_clear_call_log(s.host));
  CHECK_OK(operation->run(&s));
  CHECK_OK(qv_sim_host_call_log(s.host, &log));
  CHECK_OK(qv_sim_call_log_count(log, &count));
  for (i = 0; i < count; ++i) {
    const char *op, *target, *method, *next_op = "", *next_target = "";
    char cls[128];
    CHECK_OK(qv_sim_call_log_get(log, i, &op, NULL, &target, &method, NULL, NULL));
    if (strcmp(op, "Wait") == 0) {
      continue; /* a pause cannot fail */
    }
    inject(operation, kFaultStatus, op, target, "", method, nth_of(log, i, op, NULL, NULL),
           figures);
    if (strcmp(op, "ExecMethod") != 0) {
      continue;
    }
    class_of(target, cls, sizeof cls);
    inject(operation, kFaultReturnValue, op, target, cls, method, nth_of(log, i, op, cls, method),
           figures);
    if (i + 1 < count) {
      qv_sim_call_log_get(log, i + 1, &next_op, NULL, &next_target, NULL, NULL, NULL);
    }
    if (strcmp(next_op, "GetObject") == 0 && strstr(next_target, "Job.InstanceID=") != NULL) {
      inject(operation, kFaultJob, op, target, cls, method, nth_of(log, i, op, cls, method),
             figures);
    }
  }
  qv_sim_call_log_release(log);
  scene_close(&s, NULL);
}

int run_fault_sweep(void) {
  struct figures figures = {0, 0};
  size_t i;
  for (i = 0; i < sizeof kOperations / sizeof kOperations[0]; ++i) {
    sweep(&kOperations[i], &figures);
  }
  printf("C fault sweep: %d injection points, %d deviations\n", figures.points, figures.deviations);
  return figures.deviations + (figures.points == 0 ? 1 : 0);
}
