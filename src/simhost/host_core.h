#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "quorvane/simulated_host.h"
#include "simhost/faults.h"
#include "simhost/hyperv_names.h"
#include "simhost/repository.h"
#include "simhost/virtual_disks.h"
#include "wmi/wmi.h"

namespace quorvane::sim {

inline constexpr wchar_t kVirtualizationNamespace[] = L"root\\virtualization\\v2";
inline constexpr wchar_t kHgsNamespace[] = L"root\\microsoft\\windows\\hgs";

// The public options are the host's settings.
using HostSettings = HostOptions;

struct CallRecord {
  Operation operation;
  std::wstring nameSpace;
  std::wstring target;  // path, query, class name, or "\\host\namespace" for Connect
  std::wstring method;
  PropertyList inputs;  // method inputs that were set, written properties, connect user
  std::uint64_t clockMs = 0;
};

// A copy of one object as a client holds it.
struct ObjectCopy {
  const ClassDef* cls = nullptr;
  PropertyMap properties;
  std::wstring relativePath;  // empty for a class object
};

class HostCore;

// Work the host does later: a job's effect when the job ends, or what a timer does. It is data,
// a registered kind and its arguments as text (objects named by their paths), so that a saved
// scenario carries what is under way. An empty kind does nothing.
struct Deferred {
  std::wstring kind;
  std::vector<std::pair<std::wstring, std::wstring>> arguments;

  // The argument's text; "" when there is none.
  std::wstring Argument(std::wstring_view name) const;
};

// What deferred work may do when it runs.
struct JobContext {
  HostCore& host;
  Repository& repository;
  std::optional<Repository::Id> job;  // empty when the method answered synchronously
  // The method's output parameters when it answers synchronously; null for a job.
  PropertyMap* out = nullptr;
  // Links the job to an element it made or touched (Msvm_AffectedJobElement).
  void AddAffected(Repository::Id element);
  // The object a path argument names; raises DefaultException when it is gone, which fails
  // the job.
  Repository::Id Object(const Deferred& work, std::wstring_view argument) const;
  Repository::Id ObjectAt(const std::wstring& path) const;
};

using JobEffect = Deferred;
// The deferred work that links the job to the element named by the argument "Element".
inline constexpr wchar_t kAffectElement[] = L"AffectElement";
using DeferredHandler = std::function<void(JobContext&, const Deferred&)>;

// One method invocation as a provider behaviour sees it.
struct MethodCall {
  HostCore& host;
  Repository& repository;
  const ClassDef& cls;
  std::optional<Repository::Id> target;  // empty for a call on the class
  std::wstring method;
  PropertyMap in;
  PropertyMap out;

  WmiValue In(std::wstring_view name) const;
  // Finishes the call: through a job that ends after the host's job duration (4096, "Job" set),
  // or at once (0) when the method is set to answer synchronously. The effect runs when the
  // job ends well; when it fails, `onFailure` runs instead, to take back what the call showed
  // while the job ran.
  std::uint32_t Complete(std::uint16_t jobType, JobEffect effect, JobEffect onFailure = {});
  // Answers through a job that ends in state 10 with this error, whatever the method's mode.
  std::uint32_t FailThroughJob(std::uint16_t jobType, std::uint16_t errorCode,
                               std::wstring description);
};

using MethodHandler = std::function<std::uint32_t(MethodCall&)>;

// The state of one simulated host and everything that acts on it. Every public operation
// takes the host's one lock; provider behaviours and job effects run under it and work on the
// repositories directly.
class HostCore : public std::enable_shared_from_this<HostCore> {
 public:
  explicit HostCore(HostSettings settings);

  // Client operations, as the simulated WMI service forwards them.
  WmiServicePtr Connect(const std::wstring& host, const std::wstring& user,
                        const std::wstring& password, const std::wstring& nameSpace);
  ObjectCopy GetObject(const std::wstring& nameSpace, const std::wstring& path);
  std::vector<ObjectCopy> ExecQuery(const std::wstring& nameSpace, const std::wstring& wql);
  void PutInstance(const std::wstring& nameSpace, const ObjectCopy& object,
                   const std::vector<std::wstring>& changed);
  ObjectCopy SpawnInstance(const std::wstring& nameSpace, const std::wstring& className);
  struct MethodResult {
    std::uint32_t returnValue;
    PropertyMap out;
  };
  MethodResult ExecMethod(const std::wstring& nameSpace, const std::wstring& path,
                          const std::wstring& method, const PropertyList& in);
  void Wait(std::uint32_t milliseconds);

  // Set-up and inspection (tests, scenarios, provider behaviours).
  const HostSettings& Settings() const { return settings_; }
  Repository& Namespace(std::wstring_view name);
  bool HasNamespace(std::wstring_view name) const;
  void RegisterMethod(std::wstring className, std::wstring method, MethodHandler handler);
  void SetSynchronous(std::wstring className, std::wstring method, bool synchronous);
  std::vector<std::pair<std::wstring, std::wstring>> SynchronousMethods() const;
  bool IsSynchronous(const ClassDef& cls, std::wstring_view method) const;
  FaultPlan& Faults() { return faults_; }
  std::vector<CallRecord> CallLog() const;
  void ClearCallLog();
  std::uint64_t ClockMs() const { return clockMs_; }
  void SetClockMs(std::uint64_t clockMs) { clockMs_ = clockMs; }
  // Takes the host's lock; for use from outside its operations.
  void AdvanceClock(std::uint64_t milliseconds);
  // The simulated clock as a CIM datetime in UTC, and in the host's time zone.
  std::wstring Now() const;
  std::wstring LocalNow() const;
  // A new upper-case GUID; the sequence is fixed by the seed so runs repeat exactly.
  std::wstring NewGuid();
  std::uint64_t GuidSeed() const { return guidSeed_; }
  void SetGuidSeed(std::uint64_t seed) { guidSeed_ = seed; }
  // Starts a job of that class on the simulated clock (used by MethodCall::Complete).
  Repository::Id StartJob(Repository& repository, const JobClass& jobClass, std::uint16_t jobType,
                          std::optional<FaultPlan::JobError> failure, JobEffect effect,
                          JobEffect onFailure = {});
  // What a kind of deferred work does.
  void RegisterDeferred(std::wstring kind, DeferredHandler handler);
  // Runs deferred work now, in `context`.
  void RunDeferred(JobContext& context, const Deferred& work);

  // Work under way, as a saved scenario keeps it: jobs that have not ended and timers.
  struct PendingJob {
    std::wstring nameSpace;
    std::uint64_t finishAtMs;
    std::optional<FaultPlan::JobError> failure;
    JobEffect effect;
    JobEffect onFailure;
  };
  struct Timer {
    std::wstring nameSpace;
    Deferred work;
  };
  std::vector<std::pair<std::wstring, PendingJob>> PendingJobs() const;  // by job path
  std::vector<std::pair<std::uint64_t, Timer>> Timers() const;           // by due time
  // Puts back work a saved scenario kept (the job's instance must be stored).
  void ResumeJob(const std::wstring& jobPath, PendingJob pending);
  void ResumeTimer(std::uint64_t dueAtMs, Timer timer);

  // The host's disk files.
  VirtualDisks& Disks() { return disks_; }
  // Calls whose outputs are held until their job has ended, by the call's inputs: the job.
  std::map<std::wstring, Repository::Id>& HeldAnswers() { return heldAnswers_; }
  // A machine that runs from now on (or stops): while it runs, clients read its
  // "OnTimeInMilliseconds" as the time since this call and see a worker process.
  void MarkRunning(Repository& repository, Repository::Id machine, bool running);
  // The consistency level a checkpoint was taken at (its settings' InstanceID), for the
  // reference point it may become.
  void SetCheckpointConsistency(const std::wstring& instanceId, std::uint16_t level);
  std::uint16_t CheckpointConsistency(const std::wstring& instanceId) const;
  // Runs `work` on the namespace once the simulated clock has advanced by `delayMs`.
  void Schedule(std::uint64_t delayMs, std::wstring_view nameSpace, Deferred work);
  // Runs a job's effect so that it applies all or nothing: when it throws, the repositories,
  // disk files and timers are as they were, and the exception goes on.
  void ApplyAllOrNothing(const std::function<void()>& effect);

 private:
  // The handle runs its set-up and inspection under the host's lock.
  friend class SimulatedHost;
  friend std::string HostToJson(HostCore& host);
  void AdvanceClockLocked(std::uint64_t milliseconds);

  Repository& RequireNamespace(std::wstring_view name);
  void Record(Operation operation, std::wstring_view nameSpace, std::wstring target,
              std::wstring method = L"", PropertyList inputs = {});
  void FailIfScripted(Operation operation, std::wstring_view target);
  ObjectCopy CopyOf(const Repository& repository, Repository::Id id) const;
  std::vector<ObjectCopy> RunQuery(Repository& repository, const std::wstring& wql);
  void FinishDueJobs();
  const MethodHandler* FindHandler(const ClassDef& cls, std::wstring_view method) const;

  mutable std::mutex mutex_;
  HostSettings settings_;
  std::map<std::wstring, Repository, LessNoCase> namespaces_;
  std::map<std::pair<std::wstring, std::wstring>, MethodHandler> handlers_;
  std::vector<std::pair<std::wstring, std::wstring>> synchronous_;
  // Pending jobs by the namespace they run in and their id there.
  std::map<std::pair<std::wstring, Repository::Id>, PendingJob> pendingJobs_;
  std::map<std::wstring, DeferredHandler> deferredHandlers_;
  using TimerQueue = std::multimap<std::uint64_t, Timer>;
  TimerQueue timers_;
  // Timers scheduled by the effect being applied, to take back if it fails.
  std::optional<std::vector<TimerQueue::iterator>> scheduledInEffect_;
  // How to take back what the effect being applied did outside the repositories and files.
  std::optional<std::vector<std::function<void()>>> undoInEffect_;
  std::map<Repository::Id, std::uint64_t> runningSince_;
  std::map<std::wstring, std::uint16_t, LessNoCase> checkpointConsistency_;
  VirtualDisks disks_;
  std::map<std::wstring, Repository::Id> heldAnswers_;
  FaultPlan faults_;
  std::vector<CallRecord> log_;
  std::uint64_t clockMs_ = 0;
  std::uint64_t waitedMs_ = 0;  // waited since the client last did more than poll
  // Seeded by the host's name, so that two hosts never issue the same identifiers.
  std::uint64_t guidSeed_;
};

// The simulated host's time base: the clock's zero is 2026-01-01T00:00:00Z. With an offset, the
// local time of a zone that many minutes east of UTC, the offset written as CIM writes it.
std::wstring CimDatetimeFromClock(std::uint64_t clockMs, std::int32_t utcOffsetMinutes = 0);

}  // namespace quorvane::sim
