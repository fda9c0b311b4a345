#pragma once

#include <cstdint>
#include <functional>

#include "quorvane/exceptions.h"

namespace quorvane::testing {

// The code of the library exception an action raised, or 0 when it raised none.
inline std::uint32_t StatusOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const DefaultException& e) {
    return e.GetErrorCode();
  }
  return 0;
}

}  // namespace quorvane::testing
