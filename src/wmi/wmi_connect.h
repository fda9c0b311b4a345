#pragma once

#include <functional>
#include <string>

#include "wmi/wmi.h"

namespace quorvane {

inline constexpr wchar_t kVirtualizationNamespace[] = L"root\\virtualization\\v2";
inline constexpr wchar_t kHostGuardianNamespace[] = L"root\\microsoft\\windows\\hgs";

struct ConnectionRequest {
  std::wstring host;  // empty for the local machine
  std::wstring user;
  std::wstring password;
  std::wstring nameSpace;
};

// Opens one WMI namespace; raises the status WMI gives when it cannot.
using WmiConnector = std::function<WmiServicePtr(const ConnectionRequest&)>;

// The connector to real WMI on this platform (COM on Windows; elsewhere there is no WMI).
WmiServicePtr ConnectWmiService(const ConnectionRequest& request);

// Initialises COM for the calling thread (nothing to do where there is no COM).
void InitializeComForThread();

}  // namespace quorvane
