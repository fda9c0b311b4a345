#pragma once

#include <cstdint>

#include "quorvane/destroy.h"

namespace quorvane {

// Records changes to a machine; Commit applies them.
class IMachineEditor : public IDestroy {
 public:
  virtual void SetName(const wchar_t* name) = 0;
  // Megabytes; 0 means 1024.
  virtual void SetMemorySize(std::uint64_t megabytes) = 0;
  virtual void SetDynamicMemory(bool enabled) = 0;
  // 0 means 1.
  virtual void SetProcessorCount(std::uint64_t count) = 0;
  virtual void AddNetworkAdapterWithVlan(const wchar_t* switchName, std::uint32_t vlanId) = 0;
  virtual void AddNetworkAdapter(const wchar_t* switchName) = 0;
  virtual void AddDisconnectedNetworkAdapter() = 0;
  virtual void SetSecureBoot(bool enabled) = 0;
  virtual void SetScsiDataDisks(bool enabled) = 0;
  virtual void AddDisk(const wchar_t* path) = 0;
  virtual void Commit() = 0;
  virtual const wchar_t* GetMachineId() = 0;
};

// Defines a new machine; GetMachineId names it after a successful Commit.
class IMachineBuilder : public IMachineEditor {
 public:
  virtual void SetVersion(const wchar_t* version) = 0;
  virtual void SetGeneration2(bool enabled) = 0;
  virtual void SetConfigurationDataRoot(const wchar_t* path) = 0;
  virtual void SetSnapshotDataRoot(const wchar_t* path) = 0;
};

}  // namespace quorvane
