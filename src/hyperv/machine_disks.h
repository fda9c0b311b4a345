#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "wmi/wmi.h"

namespace quorvane {

inline constexpr std::uint32_t kNoControllerAddress = 0xFFFFFFFF;

// One disk of a machine, as listed for the host and as the builder and editor place disks.
struct DiskDescription {
  std::wstring diskId;
  std::wstring path;
  std::wstring instanceId;
  std::wstring baseDiskId;
  std::wstring basePath;
  std::int64_t maxInternalSize = 0;
  std::uint32_t isDvd = 0;
  std::uint32_t format = 0;
  bool onScsi = false;
  std::wstring controllerPath;
  std::uint32_t controllerAddress = kNoControllerAddress;
  std::uint32_t location = 0;
};

// The virtual hard disks (and, when asked, DVD media) of a machine's settings object, with
// the root of each differencing chain and the disk's place on its controller.
std::vector<DiskDescription> ListMachineDisks(IWmiService& service, IWmiObject& settings,
                                              bool includeDvd);

}  // namespace quorvane
