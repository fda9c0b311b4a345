#pragma once

#include "platform/hresult.h"

namespace quorvane {

// A COM failure outside WMI's statuses (registering in the global interface table, running out
// of memory while making a COM string). Like the COM runtime's own error object it is not one of
// the library's exceptions, and not a standard exception either.
class ComError {
 public:
  explicit ComError(HResult status) : status_(status) {}
  HResult Status() const { return status_; }

 private:
  HResult status_;
};

}  // namespace quorvane
