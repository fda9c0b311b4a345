// The C readers of the calling thread's last failure. Apart from the record itself, so that a
// module that links the C interface's internals (the simulated host's DLL on Windows) does not
// export readers of its own record under the library's names.
#include "capi/c_errors.h"

extern "C" {

std::uint32_t qv_last_error_code(void) {
  return quorvane::capi::ThreadLastError().code;
}

const char* qv_last_error_message(void) {
  return quorvane::capi::ThreadLastError().message;
}

std::int32_t qv_last_error_kind(void) {
  return quorvane::capi::ThreadLastError().kind;
}

int qv_last_error_change_tracking_unusable(void) {
  return quorvane::capi::ThreadLastError().changeTrackingUnusable ? 1 : 0;
}

}  // extern "C"
