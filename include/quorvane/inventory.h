#pragma once

#include <cstdint>

#include "quorvane/destroy.h"

namespace quorvane {

class IDiskEnumerator;
class IDiskChangeEnumerator;

// The settings of one machine or checkpoint, read once when the record is made.
class IMachineInfo : public IDestroy {
 public:
  virtual const wchar_t* GetName() = 0;
  // Startup memory in megabytes.
  virtual std::int64_t GetMemory() = 0;
  virtual std::int64_t GetProcessorCount() = 0;
  // FILETIME count (100 ns since 1601-01-01); 0 when unknown.
  virtual std::int64_t GetCreationTime() = 0;
  virtual const wchar_t* GetVersion() = 0;
  virtual const wchar_t* GetConfigurationId() = 0;
  // The checkpoint this one was taken from; "" when there is none.
  virtual const wchar_t* GetParentId() = 0;
  virtual const wchar_t* GetId() = 0;
  virtual const wchar_t* GetConfigurationDataRoot() = 0;
  virtual const wchar_t* GetConfigurationFile() = 0;
  virtual const wchar_t* GetGuestStateDataRoot() = 0;
  virtual const wchar_t* GetGuestStateFile() = 0;
  virtual const wchar_t* GetSnapshotDataRoot() = 0;
  virtual bool IsGeneration2() = 0;
  virtual bool IsVersion62OrLater() = 0;
  virtual IDiskEnumerator* CreateDiskEnumerator(bool includeDvd) = 0;
};

// The machines of a host, or the checkpoints of one machine.
class IMachineEnumerator : public IEnumerator {
 public:
  virtual const wchar_t* GetName() = 0;
  virtual std::int64_t GetCreationTime() = 0;
  // "ConfigurationID" of the entry.
  virtual const wchar_t* GetId() = 0;
  virtual const wchar_t* GetParentId() = 0;
  virtual IMachineInfo* GetMachineInfo() = 0;
};

// The virtual disks (and optionally DVD media) of one machine or checkpoint.
class IDiskEnumerator : public IEnumerator {
 public:
  virtual const wchar_t* GetDiskId() = 0;
  virtual const wchar_t* GetPath() = 0;
  // The root of the disk's differencing chain (the disk itself when it has no parent).
  virtual const wchar_t* GetBaseDiskId() = 0;
  virtual const wchar_t* GetBasePath() = 0;
  // Bytes.
  virtual std::int64_t GetMaxInternalSize() = 0;
  virtual std::uint32_t IsDvd() = 0;
  // 1 for VHDX, 2 for a VHD set, 0 otherwise.
  virtual std::uint32_t GetFormat() = 0;
  virtual bool IsOnScsi() = 0;
  // The IDE controller's address; 0xFFFFFFFF when the disk is not on IDE.
  virtual std::uint32_t GetControllerAddress() = 0;
  virtual std::uint32_t GetLocation() = 0;
  virtual IDiskChangeEnumerator* GetDiskChangeEnumerator(const wchar_t* changeTrackingId) = 0;
};

// The host's virtual Ethernet switches (the spelling is part of the interface).
class IEthernetSwithEnumerator : public IEnumerator {
 public:
  virtual const wchar_t* GetName() = 0;
  virtual const wchar_t* GetId() = 0;
};

}  // namespace quorvane
