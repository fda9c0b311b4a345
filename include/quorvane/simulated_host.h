#pragma once

/// @file
/// A simulated Hyper-V host: an in-memory stand-in for the WMI provider of a real host, with
/// its machines, settings, jobs and a log of every call it receives. The library's tests run
/// against it, and so can a host application's own tests on machines without Hyper-V.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "quorvane/export.h"
#include "quorvane/quorvane.h"

namespace quorvane::sim {

class HostCore;
struct HostCoreAccess;

/// How a simulated host behaves; the same settings as a scenario's "host" object.
struct HostOptions {
  /// The host's NetBIOS name; remote connections must name it (or they find no RPC server).
  std::wstring name = L"HV-HOST01";
  /// Whether the Host Guardian namespace "root\microsoft\windows\hgs" exists.
  bool hostGuardian = true;
  /// The host's time zone, in minutes east of UTC (-300 for US Eastern standard time): what its
  /// local times, such as the default names of checkpoints, are written in.
  std::int32_t utcOffsetMinutes = 0;
  /// How long a client may wait on the simulated clock, polling and waiting only, before a wait
  /// fails with 0x80041069 (timed out): a test whose job never ends fails instead of hanging.
  /// 0 for no bound.
  std::uint64_t waitLimitMs = 60 * 60 * 1000;
  /// How long every job runs on the simulated clock.
  std::uint32_t jobDurationMs = 300;
  /// The user a remote connection must present; empty accepts any.
  std::wstring user;
  /// The password a remote connection must present; empty accepts any.
  std::wstring password;
  /// Whether the host publishes its resource pools with their default settings (devices,
  /// processor and memory templates) and its configuration versions.
  bool capabilities = true;
  /// How long a machine reports "merging disks" (operational status 32772) after a checkpoint
  /// is removed.
  std::uint32_t mergeDurationMs = 15000;
  /// While a machine merges disks, operations on its checkpoints (take, remove, convert to a
  /// reference point) are refused with 32775, as Hyper-V refuses them.
  bool refuseDuringMerge = true;
  /// Removing or converting a checkpoint of a machine that has a reference point left behind
  /// fails (its job ends in state 10 with 32768), as merges fail on hosts where a backup left
  /// one.
  bool refuseMergeWithReferencePoint = false;
  /// Whether "PutInstance" is refused outright (0x80041024, the provider is not capable of it).
  /// Otherwise a settings object written back is accepted and changes nothing, as Hyper-V
  /// changes settings only through its methods, and a change to any other object is refused
  /// as read-only (0x80041023).
  bool refusePutInstance = false;
  /// Two readings of Hyper-V that no public recording settles. By default a reference point's
  /// "VirtualDiskIdentifiers" hold each disk's "VirtualDiskId", and "GetVirtualDiskChanges"
  /// accepts a "ByteLength" reaching the disk's end. The switches give the documented
  /// alternatives: the identifiers are the disks' storage allocation InstanceIDs, and a
  /// "ByteLength" of the disk's whole size is refused with 32773.
  bool referencePointHoldsAllocationIds = false;
  /// See referencePointHoldsAllocationIds.
  bool refuseFullLengthChanges = false;
  /// A third open reading: when "GetVirtualDiskChanges" answers through a job (it is not among
  /// the synchronous methods), the job's call gives no outputs; the same call made once that
  /// job has ended answers at once with them.
  bool changesOutputsAfterJob = false;
  /// The order of a pool's templates (its default, minimum, maximum and increment settings),
  /// which is the provider's and which no recording shows: by default the default settings
  /// come first; with this switch, last.
  bool defaultTemplatesLast = false;
  /// Change tracking reports whole blocks of this size.
  std::uint32_t changeTrackingBlockSize = 4096;
  /// "GetVirtualDiskChanges" stops a pass after this many ranges.
  std::uint32_t changeRangesPerPass = 16384;
  /// How "GetVirtualDiskChanges" refuses a change tracking identifier it cannot use (unknown,
  /// expired, another file's, malformed, or a file without change tracking): through a job that
  /// ends in state 10 with this "ErrorCode", or, when false, by returning the code at once. The
  /// status the refusal stands for (0xC03A0029, 0xC03A002A or 0xC03A0030) is in the job's
  /// "ErrorDescription".
  bool changeTrackingFailsThroughJob = true;
  /// The job's "ErrorCode", or the return value, of such a refusal.
  std::uint16_t changeTrackingFailureCode = 32768;
};

/// A machine to put on the host.
struct MachineSpec {
  std::wstring name;                                   ///< "ElementName"
  std::wstring id;                                     ///< the machine's GUID; a new one when empty
  bool generation2 = true;                             ///< generation 2 (UEFI) or 1
  std::wstring version = L"10.0";                      ///< configuration version
  std::uint64_t memoryMb = 1024;                       ///< startup memory, megabytes
  std::uint64_t processors = 1;                        ///< virtual processors
  bool dynamicMemory = false;                          ///< dynamic memory on
  std::uint16_t enabledState = 3;                      ///< 2 running, 3 off, 6 saved, 9 paused
  std::vector<std::uint16_t> operationalStatus = {2};  ///< "OperationalStatus"
  /// "ConfigurationDataRoot"; the other paths are made from it.
  std::wstring dataRoot = L"C:\\ProgramData\\Microsoft\\Windows\\Hyper-V";
  /// A planned machine has settings but no computer system yet.
  bool planned = false;
};

/// What a scripted operation failure raises.
enum class FaultKind {
  WmiStatus,          ///< the library exception WMI's status maps to
  ComError,           ///< a COM failure outside WMI, not a library exception
  StandardException,  ///< a standard library exception
};

/// One operation the host received.
struct QUORVANE_API Call {
  /// "Connect", "GetObject", "ExecQuery", "PutInstance", "SpawnInstance", "ExecMethod", "Wait".
  std::wstring operation;
  /// The namespace the call went to, such as "root\\virtualization\\v2".
  std::wstring nameSpace;
  /// The object path, query text or class name; "\\host\namespace" for Connect.
  std::wstring target;
  /// The method an "ExecMethod" ran; "" for other operations.
  std::wstring method;
  /// Method inputs that were set (in signature order), written properties, or the connect
  /// user; values rendered as text ("{a, b}" for arrays).
  std::vector<std::pair<std::wstring, std::wstring>> inputs;
  /// The host's clock when the call came.
  std::uint64_t clockMs = 0;

  /// The input's rendered value, or "" when the call has no such input.
  std::wstring Input(const std::wstring& name) const;
};

/// A handle to one simulated host; copies share the host. Safe to use from several threads.
class QUORVANE_API SimulatedHost {
 public:
  /// A host with its management services and nothing else.
  static SimulatedHost Create(const HostOptions& options = {});
  /// The shipped default scenario.
  static SimulatedHost Default();
  /// A host from scenario JSON; `sourceName` names the text in error messages. A scenario that
  /// is not valid raises DefaultException naming the source and the place, and nothing is made.
  static SimulatedHost FromJson(const std::string& json, const std::string& sourceName = "json");
  /// A host from a scenario file, hand-written or saved (docs/scenarios.md); raises
  /// DefaultException naming the file when it cannot be read or is not valid.
  static SimulatedHost LoadScenario(const std::filesystem::path& file);

  /// The whole host as a saved scenario: every instance, the disk files and their change
  /// tracking, the settings, the clock and the GUID sequence. Faults are not saved.
  std::string ToJson() const;
  /// Writes ToJson() to `file`; raises DefaultException when it cannot be written.
  void SaveScenario(const std::filesystem::path& file) const;

  /// The next `count` calls of the method return `returnValue` and change nothing. For this
  /// and the other faults, a negative count means every call from now on.
  void FailMethodCalls(const std::wstring& className, const std::wstring& method,
                       std::uint32_t returnValue, int count = 1);
  /// The next `count` jobs the method starts end in state 10 with this error code (0: the code
  /// Hyper-V gives when that operation fails, such as 32788 for a start).
  void FailJobs(const std::wstring& className, const std::wstring& method, std::uint16_t errorCode,
                const std::wstring& description, int count = 1);
  /// The next `count` operations ("Connect", "GetObject", ...) whose target contains `match`
  /// fail with the given status.
  void FailOperations(const std::wstring& operation, const std::wstring& match,
                      std::uint32_t status, int count = 1, FaultKind kind = FaultKind::WmiStatus);
  /// The same for exactly the `nth` matching call from now on (1 is the next): the calls before
  /// it pass. For sweeping a fault over every call of an operation in turn.
  void FailNthMethodCall(const std::wstring& className, const std::wstring& method, int nth,
                         std::uint32_t returnValue);
  /// The n-th job of the method fails as FailJobs() makes it fail.
  void FailNthJob(const std::wstring& className, const std::wstring& method, int nth,
                  std::uint16_t errorCode, const std::wstring& description);
  /// The n-th matching operation fails as FailOperations() makes it fail.
  void FailNthOperation(const std::wstring& operation, const std::wstring& match, int nth,
                        std::uint32_t status, FaultKind kind = FaultKind::WmiStatus);
  /// Forgets every scripted failure that has not happened yet.
  void ClearFaults();

  /// Building the host. Machines and switches are named by their GUID, checkpoints by their
  /// "ConfigurationID".
  std::wstring AddMachine(const MachineSpec& spec);
  /// A checkpoint of a machine as Hyper-V takes it; the name defaults to Hyper-V's own.
  std::wstring AddSnapshot(const std::wstring& machineId, const std::wstring& name = L"",
                           bool recovery = false);
  /// A virtual Ethernet switch named `name`; returns its identifier.
  std::wstring AddSwitch(const std::wstring& name);
  /// A virtual hard disk file (a differencing disk when `parentPath` is given); returns its
  /// "VirtualDiskId". The extension gives its "Format": ".vhd" a VHD (2, without change
  /// tracking), ".vhds" a VHD Set (4), any other a VHDX (3).
  std::wstring AddDiskFile(const std::wstring& path, std::uint64_t sizeBytes,
                           const std::wstring& parentPath = L"");
  /// Attaches a disk file, or an ISO image as a DVD, to the machine at the next free place
  /// (IDE for generation 1 while there is room, else SCSI).
  void AttachDisk(const std::wstring& machineId, const std::wstring& path);
  /// Puts the ISO image in a new DVD drive of the machine, as AttachDisk places a disk.
  void AttachDvd(const std::wstring& machineId, const std::wstring& isoPath);
  /// Takes the disk (its drive and allocation) off the machine; a disk the machine runs on through
  /// a checkpoint's differencing file counts as that file.
  void DetachDisk(const std::wstring& machineId, const std::wstring& path);
  /// The machine's security settings (TPM, shielding, state encryption).
  void SetMachineSecurity(const std::wstring& machineId, bool tpm, bool shielding,
                          bool encryptState);
  /// A guest write to the disk `path` starts: it lands in the file the machine writes to (the
  /// newest differencing file of the chain while checkpoints hold the files below it).
  void WriteToDisk(const std::wstring& path, std::uint64_t offset, std::uint64_t length);
  /// Makes every change tracking identifier of the disk's chain issued so far unknown: `path`
  /// may be any file of the chain, resolved as WriteToDisk() resolves it. Raises DefaultException
  /// when there is no such file.
  void ExpireChangeTracking(const std::wstring& path);
  /// Sets one property of the object at `path` from its text ("3", "TRUE", "Text").
  void SetProperty(const std::wstring& path, const std::wstring& property,
                   const std::wstring& value);
  /// Stores `text` as a 64-bit number's value without checking it, the way such values travel
  /// (as text): for testing how a client copes with a number it cannot read.
  void SetUncheckedNumberText(const std::wstring& path, const std::wstring& property,
                              const std::wstring& text);
  /// Removes the object at `path` and every association that refers to it.
  void RemoveObject(const std::wstring& path);

  /// The root object bound to this host, as CreateQuorvaneRemote binds one to a real host
  /// (the local host when `host` is null or empty). Raises the library's exceptions.
  IQuorvane* CreateQuorvane(const wchar_t* host = nullptr, const wchar_t* user = nullptr,
                            const wchar_t* password = nullptr) const;
  /// The same with the plain entry points' result codes; nothing escapes.
  std::uint32_t CreateQuorvane(const wchar_t* host, const wchar_t* user, const wchar_t* password,
                               IQuorvane** out) const;
  /// A factory whose roots are bound to this host, for code written against
  /// CreateQuorvaneFactory(): CreateLocal and CreateRemote behave as CreateQuorvane above. The
  /// factory keeps the host alive; release it with Release().
  IQuorvaneFactory* CreateFactory() const;

  /// Every operation the host received since it was made or the log was cleared, in order.
  std::vector<Call> CallLog() const;
  /// Empties the call log.
  void ClearCallLog();

  /// The host's clock, in milliseconds. Jobs, merges and waits run on it, never on the wall
  /// clock.
  std::uint64_t ClockMs() const;
  /// Moves the clock on: jobs and merges due by then end.
  void AdvanceClock(std::uint64_t milliseconds);

 private:
  friend struct HostCoreAccess;

  explicit SimulatedHost(std::shared_ptr<HostCore> core);
  void Attach(const std::wstring& machineId, const std::wstring& path, bool dvd);

  std::shared_ptr<HostCore> core_;
};

}  // namespace quorvane::sim
