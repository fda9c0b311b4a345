/* Checks for the C programs: each failed check prints its place and counts. */
#ifndef QUORVANE_TESTS_C_CHECK_H
#define QUORVANE_TESTS_C_CHECK_H

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "quorvane/quorvane_c.h"
#include "quorvane/simulated_host_c.h"

extern int check_failures;

#define CHECK(condition)                                                            \
  do {                                                                              \
    if (!(condition)) {                                                             \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      ++check_failures;                                                             \
    }                                                                               \
  } while (0)

/* A call that must succeed; its failure prints the library's message. */
#define CHECK_OK(call)                                                            \
  do {                                                                            \
    qv_status check_status_ = (call);                                             \
    if (check_status_ != QV_OK) {                                                 \
      fprintf(stderr, "%s:%d: %s failed: 0x%08X %s\n", __FILE__, __LINE__, #call, \
              (unsigned)check_status_, qv_last_error_message());                  \
      ++check_failures;                                                           \
    }                                                                             \
  } while (0)

#define CHECK_TEXT(actual, expected) CHECK((actual) != NULL && strcmp((actual), (expected)) == 0)

/* Writes the host's call log, GUIDs numbered by first appearance, to
 * $QUORVANE_CALL_LOG_DIR/c.NAME.log when that variable is set. */
void write_call_log(qv_sim_host* host, const char* name);

/* The fault sweep; returns its number of deviations. */
int run_fault_sweep(void);

#endif
