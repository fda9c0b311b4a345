#pragma once

#include <functional>

#include "platform/com_error.h"

namespace quorvane::testing {

// The status of the COM error an action raised (not a library exception), or 0 when it raised
// none.
inline HResult ComStatusOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const ComError& e) {
    return e.Status();
  }
  return 0;
}

}  // namespace quorvane::testing
