#include "capi/c_handles.h"

#include "errors/status.h"
#include "util/text.h"

namespace quorvane::capi {

std::string Utf8Of(const wchar_t* wide) {
  return ToUtf8(wide);
}

WideArgument::WideArgument(const char* utf8) {
  if (utf8 == nullptr) {
    return;
  }
  if (!IsValidUtf8(utf8)) {
    ThrowLibraryError(L"Text is not valid UTF-8");
  }
  wide_ = FromUtf8(utf8);
}

void ThrowNullHandle() {
  ThrowLibraryError(L"Handle must not be null");
}

void ThrowNullOutput() {
  ThrowLibraryError(L"Output must not be null");
}

}  // namespace quorvane::capi
