/* The library's C interface against the simulated host: inventory, power state, checkpoints,
 * the backup road, defining and editing, and failures, with the call logs of each part written
 * for comparison with another build of the same program. "--sweep" runs the fault sweep. */
#include <stdlib.h>

#include "c_check.h"
#include "c_scene.h"

#ifdef _WIN32
#include <objbase.h>
#include <windows.h>
/* The simulated host's DLL serves it as the process's WMI once registered. */
__declspec(dllimport) HRESULT __stdcall DllRegisterServer(void);
#else
#include <pthread.h>
#endif

int check_failures = 0;

static void inventory(void) {
  struct scene s;
  qv_machine_enumerator* machines = NULL;
  qv_machine_info* info = NULL;
  qv_disk_enumerator* disks = NULL;
  qv_switch_enumerator* switches = NULL;
  const char* text = NULL;
  int has = 0, count = 0, dvds = 0;
  int64_t size = 0, memory = 0;
  uint32_t dvd = 0;
  scene_open(&s);

  CHECK_OK(qv_root_create_machine_enumerator(s.root, &machines));
  for (;;) {
    CHECK_OK(qv_machine_enumerator_next(machines, &has));
    if (!has) {
      break;
    }
    ++count;
    CHECK_OK(qv_machine_enumerator_get_name(machines, &text));
    CHECK(text != NULL && (strcmp(text, "web") == 0 || strcmp(text, "db") == 0));
  }
  CHECK(count == 2);
  CHECK_OK(qv_machine_enumerator_get_name(machines, &text));
  CHECK(text == NULL); /* off the list */
  qv_machine_enumerator_release(machines);

  CHECK(qv_root_create_machine_management(s.root, 0, NULL) == QV_LIBRARY_ERROR);
  {
    qv_machine_management* management = NULL;
    CHECK_OK(qv_root_create_machine_management(s.root, 1, &management));
    CHECK_OK(qv_machine_management_get_machine_info(management, s.running, &info));
    qv_machine_management_release(management);
  }
  CHECK_OK(qv_machine_info_get_name(info, &text));
  CHECK_TEXT(text, "web");
  CHECK_OK(qv_machine_info_get_memory(info, &memory));
  CHECK(memory == 1024);
  CHECK_OK(qv_machine_info_is_generation2(info, &has));
  CHECK(has == 1);
  CHECK_OK(qv_machine_info_create_disk_enumerator(info, 1, &disks));
  qv_machine_info_release(info); /* the enumerator outlives the record */
  count = 0;
  for (;;) {
    CHECK_OK(qv_disk_enumerator_next(disks, &has));
    if (!has) {
      break;
    }
    ++count;
    CHECK_OK(qv_disk_enumerator_is_dvd(disks, &dvd));
    CHECK_OK(qv_disk_enumerator_get_max_internal_size(disks, &size));
    CHECK_OK(qv_disk_enumerator_get_path(disks, &text));
    if (dvd) {
      ++dvds;
      CHECK_TEXT(text, "D:\\iso\\setup.iso");
    } else {
      CHECK(size == (int64_t)40 << 30 || size == (int64_t)100 << 30);
    }
  }
  CHECK(count == 3 && dvds == 1);
  qv_disk_enumerator_release(disks);

  CHECK_OK(qv_root_create_switch_enumerator(s.root, &switches));
  CHECK_OK(qv_switch_enumerator_next(switches, &has));
  CHECK(has == 1);
  CHECK_OK(qv_switch_enumerator_get_name(switches, &text));
  CHECK_TEXT(text, "LAN");
  CHECK_OK(qv_switch_enumerator_get_id(switches, &text));
  CHECK_TEXT(text, s.lan);
  qv_switch_enumerator_release(switches);
  scene_close(&s, "inventory");
}

static void lifecycle(void) {
  struct scene s;
  qv_machine_management* management = NULL;
  uint32_t state = 0;
  scene_open(&s);
  CHECK_OK(qv_root_create_machine_management(s.root, 0, &management));
  CHECK_OK(qv_machine_management_start(management, s.off));
  CHECK_OK(qv_machine_management_get_enabled_state(management, s.off, &state));
  CHECK(state == 2);
  CHECK_OK(qv_machine_management_save(management, s.off));
  CHECK_OK(qv_machine_management_get_enabled_state(management, s.off, &state));
  CHECK(state == 6);
  CHECK_OK(qv_machine_management_power_off(management, s.running));
  CHECK_OK(qv_machine_management_get_enabled_state(management, s.running, &state));
  CHECK(state == 3);

  CHECK_OK(qv_sim_host_fail_jobs(s.host, "Msvm_ComputerSystem", "RequestStateChange", 0,
                                 "The machine could not start.", 1));
  CHECK(qv_machine_management_start(management, s.running) == 32788);
  CHECK(qv_last_error_code() == 32788);
  CHECK_TEXT(qv_last_error_message(), "The machine could not start.");
  CHECK(qv_last_error_kind() == QV_ERROR_DEFAULT);

  CHECK_OK(qv_machine_management_delete_machine(management, s.running));
  CHECK(qv_machine_management_get_enabled_state(management, s.running, &state) == QV_LIBRARY_ERROR);
  CHECK(qv_last_error_kind() == QV_ERROR_VM_NOT_FOUND);
  CHECK(strncmp(qv_last_error_message(), "Cannot find machine: ", 21) == 0);
  CHECK(state == 0);
  qv_machine_management_release(management);
  scene_close(&s, "lifecycle");
}

static void checkpoints(void) {
  struct scene s;
  qv_snapshot_management* snapshots = NULL;
  qv_machine_enumerator* list = NULL;
  qv_machine_info* info = NULL;
  const char* text = NULL;
  char first[64] = "";
  int has = 0, count = 0;
  scene_open(&s);
  CHECK_OK(qv_root_create_snapshot_management(s.root, s.off, &snapshots));
  CHECK_OK(qv_snapshot_management_get_last_snapshot_id(snapshots, &text));
  CHECK_TEXT(text, "");
  CHECK_OK(qv_snapshot_management_create_standard_snapshot(snapshots));
  CHECK_OK(qv_snapshot_management_get_last_snapshot_id(snapshots, &text));
  scene_keep_id(first, text);
  CHECK_OK(
      qv_snapshot_management_rename_snapshot(snapshots, first, "known good \xC3\xA9t\xC3\xA9"));
  CHECK_OK(qv_snapshot_management_get_snapshot_info(snapshots, first, &info));
  CHECK_OK(qv_machine_info_get_name(info, &text));
  CHECK_TEXT(text, "known good \xC3\xA9t\xC3\xA9");
  qv_machine_info_release(info);
  CHECK_OK(qv_snapshot_management_create_snapshot_of_type(snapshots, 2, 1));
  CHECK_OK(qv_snapshot_management_enumerate_snapshots(snapshots, &list));
  for (;;) {
    CHECK_OK(qv_machine_enumerator_next(list, &has));
    if (!has) {
      break;
    }
    ++count;
  }
  CHECK(count == 3); /* with the scene's own */
  qv_machine_enumerator_release(list);
  CHECK_OK(qv_snapshot_management_is_recovery_snapshot(snapshots, first, &has));
  CHECK(has == 0);
  CHECK_OK(qv_snapshot_management_apply_snapshot(snapshots, first));
  CHECK_OK(qv_snapshot_management_destroy_snapshot(snapshots, first, 1));
  CHECK(qv_snapshot_management_get_snapshot_info(snapshots, first, &info) == QV_LIBRARY_ERROR);
  CHECK(info == NULL && qv_last_error_kind() == QV_ERROR_VM_NOT_FOUND);
  qv_snapshot_management_release(snapshots);
  scene_close(&s, "checkpoints");
}

static void backup_road(void) {
  struct scene s;
  qv_snapshot_management* snapshots = NULL;
  qv_change_enumerator* changes = NULL;
  qv_machine_management* management = NULL;
  qv_machine_info* info = NULL;
  qv_disk_enumerator* disks = NULL;
  qv_disk_change_enumerator* ranges = NULL;
  const char* text = NULL;
  char recovery[64] = "", kept[128] = "";
  int has = 0, failed = 0, count = 0;
  int32_t level = 0;
  uint64_t offset = 0, length = 0;
  scene_open(&s);
  CHECK_OK(qv_root_create_snapshot_management(s.root, s.running, &snapshots));
  CHECK_OK(qv_snapshot_management_create_recovery_snapshot(snapshots, 1, &failed, &level));
  CHECK(level == 1 && failed == 0);
  CHECK_OK(qv_snapshot_management_get_last_snapshot_id(snapshots, &text));
  scene_keep_id(recovery, text);
  CHECK_OK(qv_snapshot_management_is_recovery_snapshot(snapshots, recovery, &has));
  CHECK(has == 1);
  CHECK_OK(qv_snapshot_management_get_change_enumerator(snapshots, recovery, &changes));
  CHECK_OK(qv_change_enumerator_next(changes, &has));
  CHECK_OK(qv_change_enumerator_get_change_tracking_id(changes, &text));
  CHECK(has == 1 && text != NULL && strncmp(text, "rctX:", 5) == 0 && strlen(text) < 128);
  if (text != NULL && strlen(text) < 128) {
    strcpy(kept, text);
  }
  qv_change_enumerator_release(changes);

  CHECK_OK(qv_sim_host_write_to_disk(s.host, "D:\\web.vhdx", 4096 * 3, 100));
  CHECK_OK(qv_root_create_machine_management(s.root, 0, &management));
  CHECK_OK(qv_machine_management_get_machine_info(management, s.running, &info));
  CHECK_OK(qv_machine_info_create_disk_enumerator(info, 0, &disks));
  CHECK_OK(qv_disk_enumerator_next(disks, &has));
  CHECK_OK(qv_disk_enumerator_get_disk_change_enumerator(disks, kept, &ranges));
  for (;;) {
    CHECK_OK(qv_disk_change_enumerator_next(ranges, &has));
    if (!has) {
      break;
    }
    ++count;
    CHECK_OK(qv_disk_change_enumerator_get_offset(ranges, &offset));
    CHECK_OK(qv_disk_change_enumerator_get_length(ranges, &length));
  }
  CHECK(count == 1 && offset == 4096 * 3 && length == 4096);
  qv_disk_change_enumerator_release(ranges);

  /* An identifier the host no longer knows: the backup copies the disk whole. */
  CHECK_OK(qv_sim_host_expire_change_tracking(s.host, "D:\\web.vhdx"));
  CHECK(qv_disk_enumerator_get_disk_change_enumerator(disks, kept, &ranges) != QV_OK);
  CHECK(ranges == NULL);
  CHECK(qv_last_error_change_tracking_unusable() == 1);
  qv_disk_enumerator_release(disks);
  qv_machine_info_release(info);
  qv_machine_management_release(management);
  qv_snapshot_management_release(snapshots);
  scene_close(&s, "backup-road");
}

/* The guest cannot quiesce: the recovery checkpoint falls back to crash consistency and says
   so. */
static void consistency_fallback(void) {
  struct scene s;
  qv_snapshot_management* snapshots = NULL;
  int failed = 0;
  int32_t level = 0;
  scene_open(&s);
  CHECK_OK(qv_root_create_snapshot_management(s.root, s.running, &snapshots));
  CHECK_OK(qv_sim_host_fail_jobs(s.host, "Msvm_VirtualSystemSnapshotService", "CreateSnapshot",
                                 32768, "The guest could not quiesce.", 1));
  CHECK_OK(qv_snapshot_management_create_recovery_snapshot(snapshots, 1, &failed, &level));
  CHECK(level == 2 && failed == 1);
  qv_snapshot_management_release(snapshots);
  scene_close(&s, NULL);
}

/* A message longer than the record holds is cut before the character it would split. */
static void long_message(void) {
  struct scene s;
  qv_machine_management* management = NULL;
  char* name = malloc(2 + 2 * 5000);
  uint32_t state = 0;
  size_t i = 0;
  const char* message = NULL;
  scene_open(&s);
  CHECK(name != NULL);
  if (name == NULL) {
    scene_close(&s, NULL);
    return;
  }
  name[0] = 'x'; /* "Cannot find machine: x" is even, so every character starts at an even byte */
  for (i = 0; i < 5000; ++i) {
    name[1 + 2 * i] = '\xC3';
    name[2 + 2 * i] = '\xA9';
  }
  name[1 + 2 * 5000] = '\0';
  CHECK_OK(qv_root_create_machine_management(s.root, 0, &management));
  CHECK(qv_machine_management_get_enabled_state(management, name, &state) == QV_LIBRARY_ERROR);
  message = qv_last_error_message();
  CHECK(strlen(message) == 8190);
  CHECK(strncmp(message, "Cannot find machine: x\xC3\xA9", 24) == 0);
  CHECK(strcmp(message + 8188, "\xC3\xA9") == 0);
  qv_machine_management_release(management);
  free(name);
  scene_close(&s, NULL);
}

static void defining_and_editing(void) {
  struct scene s;
  qv_machine_builder* builder = NULL;
  qv_machine_editor* as_editor = NULL;
  qv_machine_editor* editor = NULL;
  qv_machine_management* management = NULL;
  qv_machine_info* info = NULL;
  const char* text = NULL;
  char made[64] = "";
  int64_t memory = 0, processors = 0;
  scene_open(&s);
  CHECK_OK(qv_root_create_machine_builder(s.root, &builder));
  CHECK_OK(qv_machine_builder_editor(builder, &as_editor));
  CHECK_OK(qv_machine_builder_set_generation2(builder, 1));
  CHECK_OK(qv_machine_builder_set_version(builder, "9.0"));
  CHECK_OK(qv_machine_editor_set_name(as_editor, "new"));
  CHECK_OK(qv_machine_editor_set_processor_count(as_editor, 2));
  CHECK_OK(qv_machine_editor_set_dynamic_memory(as_editor, 1));
  CHECK_OK(qv_machine_editor_add_disk(as_editor, "E:\\new.vhdx"));
  CHECK_OK(qv_machine_editor_add_network_adapter_with_vlan(as_editor, s.lan, 12));
  CHECK_OK(qv_machine_editor_set_secure_boot(as_editor, 1));
  CHECK_OK(qv_machine_editor_get_machine_id(as_editor, &text));
  CHECK_TEXT(text, "");
  CHECK_OK(qv_machine_editor_commit(as_editor));
  CHECK_OK(qv_machine_editor_get_machine_id(as_editor, &text));
  scene_keep_id(made, text);
  qv_machine_editor_release(as_editor); /* the builder's own: ignored */
  qv_machine_builder_release(builder);

  CHECK_OK(qv_root_create_machine_editor(s.root, s.off, &editor));
  CHECK_OK(qv_machine_editor_set_memory_size(editor, 4096));
  CHECK_OK(qv_machine_editor_add_network_adapter(editor, s.lan));
  CHECK_OK(qv_machine_editor_add_disconnected_network_adapter(editor));
  CHECK_OK(qv_machine_editor_commit(editor));
  qv_machine_editor_release(editor);

  CHECK_OK(qv_root_create_machine_management(s.root, 0, &management));
  CHECK_OK(qv_machine_management_get_machine_info(management, made, &info));
  CHECK_OK(qv_machine_info_get_processor_count(info, &processors));
  CHECK_OK(qv_machine_info_get_version(info, &text));
  CHECK(processors == 2);
  CHECK_TEXT(text, "9.0");
  qv_machine_info_release(info);
  CHECK_OK(qv_machine_management_get_machine_info(management, s.off, &info));
  CHECK_OK(qv_machine_info_get_memory(info, &memory));
  CHECK(memory == 4096);
  qv_machine_info_release(info);

  CHECK_OK(qv_root_create_machine_editor(s.root, "6F1A0B52-0000-4000-8000-000000000000", &editor));
  CHECK(qv_machine_editor_commit(editor) == QV_LIBRARY_ERROR);
  CHECK(qv_last_error_kind() == QV_ERROR_VM_NOT_FOUND);
  qv_machine_editor_release(editor);
  qv_machine_management_release(management);
  scene_close(&s, "defining-and-editing");
}

/* Each thread fails with its own machine's name and must read back its own message. */
static const char* const kThreadMachines[2] = {"thread-one", "thread-two"};

static int fail_repeatedly(qv_machine_management* management, const char* name) {
  char expected[64];
  uint32_t state = 0;
  int i, wrong = 0;
  snprintf(expected, sizeof expected, "Cannot find machine: %s", name);
  for (i = 0; i < 200; ++i) {
    if (qv_machine_management_get_enabled_state(management, name, &state) != QV_LIBRARY_ERROR ||
        strcmp(qv_last_error_message(), expected) != 0) {
      ++wrong;
    }
  }
  return wrong;
}

struct thread_work {
  qv_machine_management* management;
  const char* name;
  int wrong;
};

#ifdef _WIN32
static DWORD WINAPI thread_main(LPVOID argument) {
  struct thread_work* work = (struct thread_work*)argument;
  CoInitializeEx(NULL, COINIT_MULTITHREADED);
  work->wrong = fail_repeatedly(work->management, work->name);
  CoUninitialize();
  return 0;
}
#else
static void* thread_main(void* argument) {
  struct thread_work* work = (struct thread_work*)argument;
  work->wrong = fail_repeatedly(work->management, work->name);
  return NULL;
}
#endif

static void failures(void) {
  struct scene s;
  qv_machine_management* managements[2] = {NULL, NULL};
  struct thread_work work[2];
  qv_machine_editor* editor = NULL;
  qv_snapshot_management* snapshots = NULL;
  qv_root* root = NULL;
  qv_machine_enumerator* machines = NULL;
  qv_sim_host* broken = NULL;
  const char* text = "untouched";
  int i;
  scene_open(&s);

  /* Null handles and outputs, text that is not UTF-8, and a null the interface refuses. */
  CHECK(qv_root_get_max_version(NULL, &text) == QV_LIBRARY_ERROR && text == NULL);
  CHECK_TEXT(qv_last_error_message(), "Handle must not be null");
  CHECK(qv_last_error_kind() == QV_ERROR_DEFAULT);
  CHECK(qv_root_get_max_version(s.root, NULL) == QV_LIBRARY_ERROR);
  CHECK_TEXT(qv_last_error_message(), "Output must not be null");
  CHECK(qv_root_create_machine_editor(s.root, "\xC3\x28", &editor) == QV_LIBRARY_ERROR);
  CHECK(editor == NULL);
  CHECK_TEXT(qv_last_error_message(), "Text is not valid UTF-8");
  CHECK(qv_root_create_machine_editor(s.root, NULL, &editor) == QV_LIBRARY_ERROR);
  CHECK(qv_last_error_message()[0] != '\0');
  CHECK_OK(qv_root_create_snapshot_management(s.root, s.off, &snapshots));
  CHECK(qv_snapshot_management_rename_snapshot(snapshots, s.off, NULL) == QV_LIBRARY_ERROR);
  qv_snapshot_management_release(snapshots);

  /* A WMI status passes through as the code, with the kind of its exception. */
  CHECK_OK(
      qv_sim_host_fail_operations(s.host, "Connect", "", 0x80070005u, 1, QV_SIM_FAULT_WMI_STATUS));
  CHECK(qv_sim_host_create_root(s.host, NULL, NULL, NULL, &root) == 0x80070005u && root == NULL);
  CHECK(qv_sim_last_error_code() == 0x80070005u);
  CHECK(qv_sim_last_error_message()[0] != '\0');
  /* Not a library exception: a code and a message all the same (through COM the provider's
   * failure arrives as a status). */
  CHECK_OK(
      qv_sim_host_fail_operations(s.host, "ExecQuery", "", 0, 1, QV_SIM_FAULT_STANDARD_EXCEPTION));
  CHECK(qv_root_create_machine_enumerator(s.root, &machines) != QV_OK);
  CHECK(machines == NULL && qv_last_error_message()[0] != '\0');
  CHECK(qv_sim_host_fail_operations(s.host, "ExecQuery", "", 0, 1, 7) == QV_LIBRARY_ERROR);
  CHECK_TEXT(qv_sim_last_error_message(), "Unknown fault kind");
  CHECK(qv_sim_host_from_json("{", "broken.json", &broken) == QV_LIBRARY_ERROR);
  CHECK(broken == NULL && strstr(qv_sim_last_error_message(), "broken.json") != NULL);

  /* The last failure is each thread's own. The threads' calls interleave differently on every
   * run: the log is written before them. */
  write_call_log(s.host, "failures");
  for (i = 0; i < 2; ++i) {
    CHECK_OK(qv_root_create_machine_management(s.root, 0, &managements[i]));
    work[i].management = managements[i];
    work[i].name = kThreadMachines[i];
    work[i].wrong = -1;
  }
  {
#ifdef _WIN32
    HANDLE threads[2];
    for (i = 0; i < 2; ++i) {
      threads[i] = CreateThread(NULL, 0, thread_main, &work[i], 0, NULL);
    }
    WaitForMultipleObjects(2, threads, TRUE, INFINITE);
    for (i = 0; i < 2; ++i) {
      CloseHandle(threads[i]);
    }
#else
    pthread_t threads[2];
    for (i = 0; i < 2; ++i) {
      CHECK(pthread_create(&threads[i], NULL, thread_main, &work[i]) == 0);
    }
    for (i = 0; i < 2; ++i) {
      pthread_join(threads[i], NULL);
    }
#endif
  }
  for (i = 0; i < 2; ++i) {
    CHECK(work[i].wrong == 0);
    qv_machine_management_release(managements[i]);
  }
  scene_close(&s, NULL);
}

int main(int argc, char** argv) {
#ifdef _WIN32
  if (FAILED(CoInitializeEx(NULL, COINIT_MULTITHREADED)) || FAILED(DllRegisterServer())) {
    fprintf(stderr, "cannot serve the simulated host\n");
    return 2;
  }
#endif
  if (argc > 1 && strcmp(argv[1], "--sweep") == 0) {
    return run_fault_sweep() == 0 && check_failures == 0 ? 0 : 1;
  }
  CHECK(strlen(qv_version()) >= 5);
  CHECK(qv_last_error_code() == 0 && qv_last_error_kind() == QV_ERROR_NONE);
  inventory();
  lifecycle();
  checkpoints();
  backup_road();
  consistency_fallback();
  long_message();
  defining_and_editing();
  failures();
  printf("C interface: %s (%d failed checks)\n", check_failures == 0 ? "passed" : "FAILED",
         check_failures);
  return check_failures == 0 ? 0 : 1;
}
