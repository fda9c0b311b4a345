#pragma once

#include <cstdint>
#include <functional>
#include <map>
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

// The connected namespaces of one host by key; the Host Guardian namespace is absent when it
// could not be connected.
inline constexpr std::uint32_t kVirtualizationKey = 0;
inline constexpr std::uint32_t kHostGuardianKey = 1;
using ServiceMap = std::map<std::uint32_t, WmiServicePtr>;

// Opens one WMI namespace; raises the status WMI gives when it cannot.
using WmiConnector = std::function<WmiServicePtr(const ConnectionRequest&)>;

// The connector to real WMI on this platform (COM on Windows; elsewhere there is no WMI).
WmiServicePtr ConnectWmiService(const ConnectionRequest& request);

// Initialises COM for the calling thread (nothing to do where there is no COM).
void InitializeComForThread();

}  // namespace quorvane
