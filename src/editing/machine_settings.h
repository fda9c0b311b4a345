#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hyperv/machine_disks.h"
#include "util/creation.h"

namespace quorvane {

inline constexpr std::uint32_t kNoVlan = 0xFFFFFFFF;

struct AdapterRequest {
  std::wstring switchName;  // empty: not connected
  std::uint32_t vlanId = kNoVlan;
};

// What the builder and the editor record; Commit applies it.
struct MachineSettings {
  std::wstring name;
  std::uint64_t memoryMegabytes = 1024;
  std::uint64_t processorCount = 1;
  bool generation2 = false;
  std::wstring version;
  bool scsiDataDisks = false;
  bool secureBoot = false;
  std::wstring configurationDataRoot;
  std::wstring snapshotDataRoot;
  bool dynamicMemory = false;
  std::vector<DiskDescription> disks;
  std::vector<AdapterRequest> adapters;
  bool nameSet = false;
  bool memorySet = false;
  bool processorCountSet = false;
  bool secureBootSet = false;
  bool dynamicMemorySet = false;
};

// The setters both the builder and the editor offer; they only record.
template <typename Interface>
class SettingsRecorder : public Interface {
 public:
  void Release() override { delete this; }
  void SetName(const wchar_t* name) override {
    settings_.name = Text(name, L"Name");
    settings_.nameSet = true;
  }
  void SetMemorySize(std::uint64_t megabytes) override {
    settings_.memoryMegabytes = megabytes == 0 ? 1024 : megabytes;
    settings_.memorySet = true;
  }
  void SetDynamicMemory(bool enabled) override {
    settings_.dynamicMemory = enabled;
    settings_.dynamicMemorySet = true;
  }
  void SetProcessorCount(std::uint64_t count) override {
    settings_.processorCount = count == 0 ? 1 : count;
    settings_.processorCountSet = true;
  }
  void AddNetworkAdapterWithVlan(const wchar_t* switchName, std::uint32_t vlanId) override {
    settings_.adapters.push_back({Text(switchName, L"Switch name"), vlanId});
  }
  void AddNetworkAdapter(const wchar_t* switchName) override {
    settings_.adapters.push_back({Text(switchName, L"Switch name"), kNoVlan});
  }
  void AddDisconnectedNetworkAdapter() override { settings_.adapters.push_back({L"", kNoVlan}); }
  void SetSecureBoot(bool enabled) override {
    settings_.secureBoot = enabled;
    settings_.secureBootSet = true;
  }
  void SetScsiDataDisks(bool enabled) override { settings_.scsiDataDisks = enabled; }
  void AddDisk(const wchar_t* path) override {
    DiskDescription disk;
    disk.path = Text(path, L"Disk path");
    settings_.disks.push_back(std::move(disk));
  }

 protected:
  // A null string is refused with a clear message rather than read.
  static std::wstring Text(const wchar_t* value, const wchar_t* what) {
    return RequireText(value, what);
  }

  MachineSettings settings_;
};

}  // namespace quorvane
