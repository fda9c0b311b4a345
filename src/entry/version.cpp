#include "quorvane/version.h"

namespace quorvane {

const char* GetVersion() {
  return QUORVANE_VERSION;
}

}  // namespace quorvane
