#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simhost/host_core.h"
#include "simhost/hyperv_names.h"

// How Hyper-V lays out its objects, as the simulated host builds them: machines with their
// settings, checkpoints, switches and the host's capability templates.
namespace quorvane::sim {

// A machine as the host defines it: the public description of one.
using MachineDefinition = MachineSpec;

// The host's computer system, its management services and their settings.
void AddHostSystem(HostCore& host);
// Pools, allocation capabilities, the processor and memory templates and the supported
// configuration versions.
void AddCapabilities(HostCore& host);
// Whether the host can define machines of this configuration version (it lists them among its
// capabilities).
bool SupportsVersion(std::wstring_view version);
// Resource pools of the devices a client adds, each with its default settings.
void AddDevicePools(HostCore& host);

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

// The machine's security settings (TPM, shielding, state encryption); false when the machine
// has none.
bool SetSecurity(Repository& repository, const std::wstring& machineId, bool tpm, bool shielding,
                 bool encryptState);

// Removes the machine, every settings object of it (checkpoints included) and their parts.
void DestroyMachine(Repository& repository, Repository::Id machine);

// Storage. Controllers of a settings object, in creation order.
std::vector<Repository::Id> ControllersOf(const Repository& repository, Repository::Id settings);
// Parts of a settings object (devices, memory, processor), in creation order.
std::vector<Repository::Id> PartsOf(const Repository& repository, Repository::Id settings);
// Sets a machine's "OperationalStatus" and the "StatusDescriptions" that go with it.
void SetMachineStatus(Repository& repository, Repository::Id machine,
                      const std::vector<std::int32_t>& statuses);
// Puts the disk (or, for a DVD, the image) in a new drive at the first free place: IDE while
// generation 1 has room, else the first SCSI controller (made when there is none). Returns the
// storage allocation.
Repository::Id AttachAtFreePlace(HostCore& host, Repository::Id settings, const std::wstring& path,
                                 bool dvd);
Repository::Id AddScsiController(HostCore& host, Repository::Id settings);
// The controllers a new machine has: two IDE controllers for generation 1, one SCSI for 2.
void AddDefaultControllers(HostCore& host, Repository::Id settings, bool generation2);
void AddPart(Repository& repository, Repository::Id settings, Repository::Id part);
// The objects at the other end of the associations of this class in which `from` plays `role`.
std::vector<Repository::Id> LinkedEnds(const Repository& repository, Repository::Id from,
                                       std::wstring_view association, std::wstring_view role);

// A drive on the controller's slot; `properties` (from a client's text) come before the
// drive's own place, which wins.
Repository::Id CreateDrive(HostCore& host, Repository::Id settings, Repository::Id controller,
                           std::uint32_t slot, bool dvd, PropertyList properties);
// The disk or image in a drive.
Repository::Id CreateMedium(HostCore& host, Repository::Id settings, Repository::Id drive,
                            const std::wstring& path, bool dvd, PropertyList properties);
bool SlotTaken(const Repository& repository, Repository::Id settings, Repository::Id controller,
               std::uint32_t slot);
std::uint32_t SlotsOf(const Repository& repository, Repository::Id controller);
// A drive on the controller's slot with the disk or image in it; returns the storage allocation.
Repository::Id AttachDrive(HostCore& host, Repository::Id settings, Repository::Id controller,
                           std::uint32_t slot, const std::wstring& path, bool dvd);
// A disk file; differencing when `parentPath` is given.
VirtualDisk& CreateDiskFile(HostCore& host, const std::wstring& path, std::uint64_t size,
                            const std::wstring& parentPath);

// Checkpoint removal: the checkpoint's settings and parts go, its children and the machine take
// its parent, and the files it owned merge into their parents while the machine reports merging.
void RemoveSnapshot(HostCore& host, Repository::Id machine, Repository::Id snapshot);
// Starts merging the differencing files whose checkpoints are gone, unless the machine's disk
// merge settings hold merges back ("EnabledState" 0). The files merge when the host's merge
// duration is over; until then the machine reports "merging disks".
void StartMerges(HostCore& host, Repository::Id machine);
// The deferred work that ends a machine's merges ("Machine": its path).
inline constexpr wchar_t kFinishMerges[] = L"FinishMerges";
void FinishMerges(JobContext& context, const Deferred& work);
bool MergesEnabled(const Repository& repository, Repository::Id machine);
bool IsMerging(const Repository& repository, Repository::Id machine);
// The machine's checkpoints (settings objects), in creation order.
std::vector<Repository::Id> SnapshotsOf(const Repository& repository, Repository::Id machine);
// The machine a settings object (realized or checkpoint) belongs to.
std::optional<Repository::Id> MachineOf(const Repository& repository, Repository::Id settings);

}  // namespace quorvane::sim
