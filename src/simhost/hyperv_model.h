#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simhost/host_core.h"

// How Hyper-V lays out its objects, as the simulated host builds them: machines with their
// settings, checkpoints, switches and the host's capability templates.
namespace quorvane::sim {

inline constexpr wchar_t kRealizedSystem[] = L"Microsoft:Hyper-V:System:Realized";
inline constexpr wchar_t kPlannedSystem[] = L"Microsoft:Hyper-V:System:Planned";
inline constexpr wchar_t kRealizedSnapshot[] = L"Microsoft:Hyper-V:Snapshot:Realized";
inline constexpr wchar_t kRecoverySnapshot[] = L"Microsoft:Hyper-V:Snapshot:Recovery";

inline constexpr std::uint16_t kStateRunning = 2;
inline constexpr std::uint16_t kStateOff = 3;
inline constexpr std::uint16_t kStateSaved = 6;
inline constexpr std::uint16_t kStatePaused = 9;

struct MachineDefinition {
  std::wstring id;  // the machine's GUID; a new one when empty
  std::wstring name;
  bool generation2 = true;
  std::wstring version = L"10.0";
  std::uint64_t memoryMb = 1024;
  std::uint64_t processors = 1;
  bool dynamicMemory = false;
  std::uint16_t enabledState = kStateOff;
  std::vector<std::int32_t> operationalStatus = {2};
  std::wstring dataRoot = L"C:\\ProgramData\\Microsoft\\Windows\\Hyper-V";
  bool planned = false;
};

// The host's computer system, its management services and their settings.
void AddHostSystem(HostCore& host);
// Pools, allocation capabilities, the processor and memory templates and the supported
// configuration versions.
void AddCapabilities(HostCore& host);

// A machine with its realized (or planned) settings, memory and processor settings. Returns the
// machine's Msvm_ComputerSystem (for a planned machine, its settings).
Repository::Id DefineMachine(HostCore& host, const MachineDefinition& definition);

// A checkpoint of the machine: a copy of its settings with the checkpoint's own identity, linked
// into the machine's checkpoint tree. `snapshotType` 2 (standard) or 32768 (recovery).
Repository::Id TakeSnapshot(HostCore& host, Repository::Id machine, std::uint16_t snapshotType,
                            const std::wstring& name);

// A virtual Ethernet switch with its settings. Returns the switch.
Repository::Id AddSwitch(HostCore& host, const std::wstring& name, std::wstring id);

// The machine's realized settings.
std::optional<Repository::Id> RealizedSettingsOf(const Repository& repository,
                                                 Repository::Id machine);
std::optional<Repository::Id> MachineByName(const Repository& repository, const std::wstring& name);

// Removes the machine, every settings object of it (checkpoints included) and their parts.
void DestroyMachine(Repository& repository, Repository::Id machine);

}  // namespace quorvane::sim
