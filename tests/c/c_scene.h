/* The host the C programs start from, and a root bound to it. */
#ifndef QUORVANE_TESTS_C_SCENE_H
#define QUORVANE_TESTS_C_SCENE_H

#include "quorvane/quorvane_c.h"
#include "quorvane/simulated_host_c.h"

/* A running machine (two disks and a DVD), a stopped one with a checkpoint, a switch, and a
 * free disk file E:\new.vhdx. */
struct scene {
  qv_sim_host* host;
  qv_root* root;
  char running[64];
  char off[64];
  char lan[64];
  char checkpoint[64];
};

void scene_open(struct scene* s);
/* Writes the host's call log under `log_name` (none when null), then releases both. */
void scene_close(struct scene* s, const char* log_name);
/* Copies an identifier into one of 64 characters ("" when it does not fit). */
void scene_keep_id(char* to, const char* id);

#endif
