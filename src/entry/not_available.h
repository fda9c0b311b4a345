#pragma once

#include <string>

#include "quorvane/exceptions.h"

namespace quorvane {

// Raised by operations whose implementation has not been written yet.
[[noreturn]] inline void ThrowNotAvailable(const std::wstring& operation) {
  throw DefaultException(kLibraryErrorCode, (operation + L" is not available yet").c_str());
}

}  // namespace quorvane
