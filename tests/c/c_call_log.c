/* The call log as text, one call a line and its inputs below it, GUIDs numbered. */
#include <ctype.h>
#include <stdlib.h>

#include "c_check.h"

enum { kGuidLength = 36, kMaxGuids = 512 };

struct guid_numbers {
  char guids[kMaxGuids][kGuidLength + 1];
  int count;
};

static int is_guid_at(const char* text) {
  static const int groups[] = {8, 4, 4, 4, 12};
  int group, i;
  for (group = 0; group < 5; ++group) {
    for (i = 0; i < groups[group]; ++i, ++text) {
      if (!isxdigit((unsigned char)*text)) {
        return 0;
      }
    }
    if (group < 4 && *text++ != '-') {
      return 0;
    }
  }
  return 1;
}

static int number_of(struct guid_numbers* numbers, const char* at) {
  char guid[kGuidLength + 1];
  int i;
  for (i = 0; i < kGuidLength; ++i) {
    guid[i] = (char)tolower((unsigned char)at[i]);
  }
  guid[kGuidLength] = '\0';
  for (i = 0; i < numbers->count; ++i) {
    if (strcmp(numbers->guids[i], guid) == 0) {
      return i + 1;
    }
  }
  if (numbers->count == kMaxGuids) {
    return 0;
  }
  memcpy(numbers->guids[numbers->count], guid, sizeof guid);
  return ++numbers->count;
}

static void put_text(FILE* out, struct guid_numbers* numbers, const char* text) {
  while (*text != '\0') {
    if (is_guid_at(text)) {
      fprintf(out, "GUID-%d", number_of(numbers, text));
      text += kGuidLength;
    } else {
      fputc(*text++, out);
    }
  }
}

void write_call_log(qv_sim_host* host, const char* name) {
  const char* dir = getenv("QUORVANE_CALL_LOG_DIR");
  char path[1024];
  FILE* out;
  qv_sim_call_log* log = NULL;
  uint64_t count = 0, i, k;
  struct guid_numbers* numbers;
  if (dir == NULL || *dir == '\0') {
    return;
  }
  snprintf(path, sizeof path, "%s/c.%s.log", dir, name);
  numbers = (struct guid_numbers*)calloc(1, sizeof *numbers);
  out = fopen(path, "wb");
  CHECK(numbers != NULL && out != NULL);
  CHECK_OK(qv_sim_host_call_log(host, &log));
  CHECK_OK(qv_sim_call_log_count(log, &count));
  for (i = 0; out != NULL && numbers != NULL && i < count; ++i) {
    const char *operation, *name_space, *target, *method;
    uint64_t clock_ms, inputs;
    CHECK_OK(
        qv_sim_call_log_get(log, i, &operation, &name_space, &target, &method, &clock_ms, &inputs));
    fprintf(out, "%llu %s %s ", (unsigned long long)clock_ms, operation, name_space);
    put_text(out, numbers, target);
    if (*method != '\0') {
      fprintf(out, " %s", method);
    }
    fputc('\n', out);
    for (k = 0; k < inputs; ++k) {
      const char *input, *value;
      CHECK_OK(qv_sim_call_log_input(log, i, k, &input, &value));
      fprintf(out, "  %s = ", input);
      put_text(out, numbers, value);
      fputc('\n', out);
    }
  }
  qv_sim_call_log_release(log);
  if (out != NULL) {
    fclose(out);
  }
  free(numbers);
}
