#include "c_scene.h"

#include "c_check.h"

static const uint64_t kGiB = 1ull << 30;

void scene_keep_id(char* to, const char* id) {
  CHECK(id != NULL && strlen(id) < 64);
  to[0] = '\0';
  if (id != NULL && strlen(id) < 64) {
    strcpy(to, id);
  }
}

void scene_open(struct scene* s) {
  const char* id = NULL;
  memset(s, 0, sizeof *s);
  CHECK_OK(qv_sim_host_create(&s->host));
  CHECK_OK(qv_sim_host_add_machine(s->host, "web", NULL, 1, 2, &id));
  scene_keep_id(s->running, id);
  CHECK_OK(qv_sim_host_add_machine(s->host, "db", NULL, 0, 3, &id));
  scene_keep_id(s->off, id);
  CHECK_OK(qv_sim_host_add_switch(s->host, "LAN", &id));
  scene_keep_id(s->lan, id);
  CHECK_OK(qv_sim_host_add_disk_file(s->host, "D:\\web.vhdx", 40 * kGiB, NULL, NULL));
  CHECK_OK(qv_sim_host_add_disk_file(s->host, "D:\\web-data.vhdx", 100 * kGiB, NULL, NULL));
  CHECK_OK(qv_sim_host_add_disk_file(s->host, "E:\\new.vhdx", kGiB, NULL, NULL));
  CHECK_OK(qv_sim_host_attach_disk(s->host, s->running, "D:\\web.vhdx"));
  CHECK_OK(qv_sim_host_attach_disk(s->host, s->running, "D:\\web-data.vhdx"));
  CHECK_OK(qv_sim_host_attach_dvd(s->host, s->running, "D:\\iso\\setup.iso"));
  CHECK_OK(qv_sim_host_add_snapshot(s->host, s->off, "known good", 0, &id));
  scene_keep_id(s->checkpoint, id);
  CHECK_OK(qv_sim_host_create_root(s->host, NULL, NULL, NULL, &s->root));
}

void scene_close(struct scene* s, const char* log_name) {
  if (log_name != NULL) {
    write_call_log(s->host, log_name);
  }
  qv_root_release(s->root);
  qv_sim_host_release(s->host);
}
