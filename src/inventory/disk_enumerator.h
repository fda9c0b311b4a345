#pragma once

#include <string>

#include "quorvane/inventory.h"
#include "wmi/wmi.h"

namespace quorvane {

class DiskEnumerator {
 public:
  static IDiskEnumerator* Create(WmiServicePtr service, std::wstring configurationId,
                                 bool includeDvd);
};

}  // namespace quorvane
