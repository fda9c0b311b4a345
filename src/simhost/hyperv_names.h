#pragma once

// The Hyper-V values the simulated host speaks: system types, states, resource subtypes,
// method results and job types. One place, so the provider behaviours and the host's model
// cannot drift apart.
#include <cstdint>
#include <string>
#include <string_view>

namespace quorvane::sim {

inline constexpr wchar_t kRealizedSystem[] = L"Microsoft:Hyper-V:System:Realized";
inline constexpr wchar_t kPlannedSystem[] = L"Microsoft:Hyper-V:System:Planned";
inline constexpr wchar_t kRealizedSnapshot[] = L"Microsoft:Hyper-V:Snapshot:Realized";
inline constexpr wchar_t kRecoverySnapshot[] = L"Microsoft:Hyper-V:Snapshot:Recovery";

inline constexpr std::uint16_t kStateRunning = 2;
inline constexpr std::uint16_t kStateOff = 3;
inline constexpr std::uint16_t kStateSaved = 6;
inline constexpr std::uint16_t kStatePaused = 9;
// What "EnabledState" reads while a state change runs.
inline constexpr std::uint16_t kStateStopping = 4;
inline constexpr std::uint16_t kStateStarting = 10;
inline constexpr std::uint16_t kStateResetting = 11;
inline constexpr std::uint16_t kStateSaving = 32773;
inline constexpr std::uint16_t kStatePausing = 32776;
inline constexpr std::uint16_t kStateResuming = 32777;

// "SnapshotType" of a checkpoint request.
inline constexpr std::uint16_t kSnapshotStandard = 2;
inline constexpr std::uint16_t kSnapshotRecovery = 32768;

// "RequestedState" once a requested change is done.
inline constexpr std::uint16_t kRequestedNoChange = 5;

inline constexpr std::int32_t kStatusOk = 2;
inline constexpr std::int32_t kStatusMergingDisks = 32772;
// What a machine says of each of its "OperationalStatus" values.
const wchar_t* MachineStatusText(std::int32_t status);
// How Hyper-V writes a time that has not happened, such as the last replication of a machine
// that is not replicated.
inline constexpr wchar_t kNeverDatetime[] = L"16010101000000.000000-000";

inline constexpr wchar_t kIdeControllerSubType[] = L"Microsoft:Hyper-V:Emulated IDE Controller";
inline constexpr wchar_t kScsiControllerSubType[] = L"Microsoft:Hyper-V:Synthetic SCSI Controller";
inline constexpr wchar_t kDiskDriveSubType[] = L"Microsoft:Hyper-V:Synthetic Disk Drive";
inline constexpr wchar_t kDvdDriveSubType[] = L"Microsoft:Hyper-V:Synthetic DVD Drive";
inline constexpr wchar_t kHardDiskSubType[] = L"Microsoft:Hyper-V:Virtual Hard Disk";
inline constexpr wchar_t kDvdMediumSubType[] = L"Microsoft:Hyper-V:Virtual CD/DVD Disk";
inline constexpr wchar_t kProcessorSubType[] = L"Microsoft:Hyper-V:Processor";
inline constexpr wchar_t kMemorySubType[] = L"Microsoft:Hyper-V:Memory";
inline constexpr wchar_t kPortSubType[] = L"Microsoft:Hyper-V:Synthetic Ethernet Port";
inline constexpr wchar_t kConnectionSubType[] = L"Microsoft:Hyper-V:Ethernet Connection";

// Method results.
inline constexpr std::uint32_t kStartedJob = 4096;
inline constexpr std::uint16_t kFailed = 32768;
inline constexpr std::uint32_t kInvalidParameter = 32773;
inline constexpr std::uint32_t kInvalidState = 32775;
inline constexpr std::uint32_t kFileNotFound = 32779;
// What a failed start or restore reports in its job.
inline constexpr std::uint16_t kStartFailed = 32788;

// Job states.
inline constexpr std::uint16_t kJobRunning = 4;
inline constexpr std::uint16_t kJobCompleted = 7;
inline constexpr std::uint16_t kJobException = 10;

// Job types.
enum JobType : std::uint16_t {
  kJobDefineSystem = 1,
  kJobModifySystem = 2,
  kJobDestroySystem = 3,
  kJobStart = 12,
  kJobTurnOff = 13,
  kJobSave = 14,
  kJobRestore = 15,
  kJobPause = 26,
  kJobResume = 27,
  kJobReset = 28,
  kJobReboot = 29,
  kJobAddResources = 30,
  kJobModifyResources = 31,
  kJobRemoveResources = 32,
  kJobAddFeatures = 33,
  kJobSnapshot = 70,
  kJobApplySnapshot = 71,
  kJobDeleteSnapshot = 72,
  kJobConvertToReferencePoint = 200,
  kJobDeleteReferencePoint = 202,
};

// The class of the jobs a service starts, and their "Caption": the image management
// service's are storage jobs.
struct JobClass {
  const wchar_t* name;
  const wchar_t* caption;
};
JobClass JobClassOf(std::wstring_view serviceClass);

// How a job of a type presents itself: its "ElementName" and "Description" as an English
// host shows them, and the "ErrorCode" it reports when the operation fails.
struct JobKind {
  const wchar_t* elementName;
  const wchar_t* description;
  std::uint16_t failureCode;
};
JobKind JobKindOf(std::uint16_t jobType);

}  // namespace quorvane::sim
