#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "hyperv/machine_disks.h"
#include "wmi/wmi.h"

namespace quorvane {

struct StoragePlan {
  bool generation2 = false;
  bool scsiDataDisks = false;
};

// Attaches the disks one drive at a time (a slot the host refuses with 32775 moves the disk on
// to the next position), then all images in one call. Known controllers (controller path and
// slot) are used first, in order, before positions are computed.
void AttachDisks(const WmiServicePtr& service, IWmiObject& managementService, IWmiObject& settings,
                 const std::vector<DiskDescription>& disks,
                 const std::vector<DiskDescription>& knownControllers, StoragePlan plan);

// The controller and slot of a disk position. Generation 1 puts the first four positions on
// IDE (one with SCSI data disks); the rest go to SCSI controller (p - IDE count) / 64 at slot
// p mod 64 (the slot deliberately from the unadjusted position).
std::pair<WmiObjectPtr, std::uint32_t> FindControllerForPosition(const WmiServicePtr& service,
                                                                 IWmiObject& managementService,
                                                                 IWmiObject& settings,
                                                                 StoragePlan plan,
                                                                 std::uint32_t position);

WmiObjectPtr FindIdeController(IWmiObject& settings, std::uint32_t number);
WmiObjectPtr FindOrCreateScsiController(const WmiServicePtr& service, IWmiObject& managementService,
                                        IWmiObject& settings, std::uint32_t number);

// Removes the machine's hard-disk images and then their drives.
void RemoveDisks(const WmiServicePtr& service, IWmiObject& managementService, IWmiObject& settings);

}  // namespace quorvane
