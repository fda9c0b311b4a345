#include "capi/c_errors.h"

#include <algorithm>
#include <exception>
#include <new>
#include <string>

#include "quorvane/exceptions.h"
#include "util/text.h"

namespace quorvane::capi {
namespace {

std::int32_t KindOf(const DefaultException& failure) {
  if (dynamic_cast<const VmNotFoundException*>(&failure) != nullptr) {
    return QV_ERROR_VM_NOT_FOUND;
  }
  if (dynamic_cast<const ObjectNotFoundException*>(&failure) != nullptr) {
    return QV_ERROR_OBJECT_NOT_FOUND;
  }
  if (dynamic_cast<const CannotConnectException*>(&failure) != nullptr) {
    return QV_ERROR_CANNOT_CONNECT;
  }
  if (dynamic_cast<const AccessDeniedException*>(&failure) != nullptr) {
    return QV_ERROR_ACCESS_DENIED;
  }
  if (dynamic_cast<const HyperVNotFoundException*>(&failure) != nullptr) {
    return QV_ERROR_HYPERV_NOT_FOUND;
  }
  return QV_ERROR_DEFAULT;
}

// A failure whose code is 0 would read as success: it is reported as the library's own.
std::uint32_t StatusOf(std::uint32_t code) {
  return code == 0 ? QV_LIBRARY_ERROR : code;
}

void Record(std::uint32_t code, std::int32_t kind, bool unusable,
            std::string_view message) noexcept {
  ThreadLastError().Set(code, kind, unusable, message);
}

// Text from a standard exception may be in any encoding; what is not UTF-8 is replaced.
std::string AsUtf8(const char* text) {
  return ToUtf8(FromUtf8(text != nullptr ? text : ""));
}

}  // namespace

void LastError::Set(std::uint32_t failureCode, std::int32_t failureKind, bool unusable,
                    std::string_view text) noexcept {
  code = failureCode;
  kind = failureKind;
  changeTrackingUnusable = unusable;
  std::size_t length = std::min(text.size(), kMessageCapacity - 1);
  if (length < text.size()) {
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
      --length;  // not inside a character
    }
  }
  text.copy(message, length);
  message[length] = '\0';
}

LastError& ThreadLastError() noexcept {
  thread_local LastError last;
  return last;
}

qv_status RecordCurrentException() noexcept {
  try {
    throw;
  } catch (const DefaultException& failure) {
    const std::uint32_t status = StatusOf(failure.GetErrorCode());
    try {
      Record(status, KindOf(failure), IsChangeTrackingUnusable(failure),
             ToUtf8(failure.GetMessageDescription()));
    } catch (...) {
      Record(status, KindOf(failure), IsChangeTrackingUnusable(failure), {});
    }
    return status;
  } catch (const std::bad_alloc&) {
    Record(QV_LIBRARY_ERROR, QV_ERROR_NOT_LIBRARY, false, "Out of memory");
    return QV_LIBRARY_ERROR;
  } catch (const std::exception& failure) {
    try {
      Record(QV_LIBRARY_ERROR, QV_ERROR_NOT_LIBRARY, false, AsUtf8(failure.what()));
    } catch (...) {
      Record(QV_LIBRARY_ERROR, QV_ERROR_NOT_LIBRARY, false, {});
    }
    return QV_LIBRARY_ERROR;
  } catch (...) {
    Record(QV_LIBRARY_ERROR, QV_ERROR_NOT_LIBRARY, false, "Unknown failure");
    return QV_LIBRARY_ERROR;
  }
}

}  // namespace quorvane::capi
