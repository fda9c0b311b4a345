#pragma once

// The C interface's failures: each call runs its body through RunGuarded, which turns whatever
// the body raises into a status and the calling thread's record of its last failure.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "quorvane/quorvane_c.h"

namespace quorvane::capi {

// Trivially destructible on purpose: a thread-local object with a destructor, in a DLL built
// with MinGW, is destroyed after its storage is freed when the thread ends. A message longer
// than the buffer is cut at a character boundary.
struct LastError {
  static constexpr std::size_t kMessageCapacity = 8192;
  std::uint32_t code = 0;
  std::int32_t kind = QV_ERROR_NONE;
  bool changeTrackingUnusable = false;
  char message[kMessageCapacity] = {};

  void Set(std::uint32_t failureCode, std::int32_t failureKind, bool unusable,
           std::string_view text) noexcept;
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
