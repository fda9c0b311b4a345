#pragma once

// The C interface's failures: each call runs its body through RunGuarded, which turns whatever
// the body raises into a status and the calling thread's record of its last failure.
#include <cstdint>
#include <string>

#include "quorvane/quorvane_c.h"

namespace quorvane::capi {

struct LastError {
  std::uint32_t code = 0;
  std::int32_t kind = QV_ERROR_NONE;
  bool changeTrackingUnusable = false;
  std::string message;
};

// The calling thread's record.
LastError& ThreadLastError() noexcept;

// Records the exception being handled (call only inside a catch block) and returns the status
// that stands for it, never 0.
qv_status RecordCurrentException() noexcept;

template <typename Body>
qv_status RunGuarded(Body&& body) noexcept {
  try {
    body();
    return QV_OK;
  } catch (...) {
    return RecordCurrentException();
  }
}

}  // namespace quorvane::capi
