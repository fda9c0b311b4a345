// How the Hyper-V provider changes a machine's run state and deletes machines.
#include <algorithm>
#include "simhost/hyperv_model.h"
#include "simhost/providers.h"

namespace quorvane::sim {
namespace {

constexpr wchar_t kChangeState[] = L"ChangeState";
constexpr wchar_t kRestoreState[] = L"RestoreState";
constexpr wchar_t kDestroySystem[] = L"DestroySystem";

struct Transition {
  std::uint16_t requested;
  std::uint16_t jobType;
  std::uint16_t resultingState;
  std::vector<std::uint16_t> from;
  std::uint16_t passingState;  // "EnabledState" while the job runs
};

// What Hyper-V accepts: a machine already in the requested state, or in a state from which
// the request makes no sense (saving a machine that is off), is refused with 32775.
const std::vector<Transition>& Transitions() {
  static const std::vector<Transition> kTransitions = {
      {kStateRunning,
       kJobStart,
       kStateRunning,
       {kStateOff, kStateSaved, kStatePaused},
       kStateStarting},
      {kStateOff,
       kJobTurnOff,
       kStateOff,
       {kStateRunning, kStateSaved, kStatePaused},
       kStateStopping},
      {kStateSaved, kJobSave, kStateSaved, {kStateRunning, kStatePaused}, kStateSaving},
      {kStatePaused, kJobPause, kStatePaused, {kStateRunning}, kStatePausing},
      {10, kJobReboot, kStateRunning, {kStateRunning}, kStateStarting},
      {11, kJobReset, kStateRunning, {kStateRunning}, kStateResetting},
  };
  return kTransitions;
}

std::uint32_t RequestStateChange(MethodCall& call) {
  const auto requested = static_cast<std::uint16_t>(call.In(L"RequestedState").AsInteger());
  const Repository::Id machine = *call.target;
  const auto current =
      static_cast<std::uint16_t>(call.repository.Property(machine, L"EnabledState").AsInteger());
  for (const auto& transition : Transitions()) {
    if (transition.requested != requested) {
      continue;
    }
    if (std::find(transition.from.begin(), transition.from.end(), current) ==
        transition.from.end()) {
      return kInvalidState;
    }
    std::uint16_t jobType = transition.jobType;
    std::uint16_t passing = transition.passingState;
    if (jobType == kJobStart && current != kStateOff) {
      jobType = current == kStateSaved ? kJobRestore : kJobResume;
      passing = current == kStateSaved ? kStateStarting : kStateResuming;
    }
    const std::wstring path = call.repository.RelativePath(machine);
    const std::uint32_t result =
        call.Complete(jobType,
                      {kChangeState,
                       {{L"Machine", path},
                        {L"State", std::to_wstring(transition.resultingState)},
                        {L"Requested", std::to_wstring(requested)}}},
                      {kRestoreState, {{L"Machine", path}, {L"State", std::to_wstring(current)}}});
    if (result == kStartedJob) {
      call.repository.Set(machine, L"EnabledState", WmiValue::Int32(passing));
      call.repository.Set(machine, L"RequestedState", WmiValue::Int32(requested));
    }
    return result;
  }
  return kInvalidParameter;
}

void ChangeState(JobContext& job, const Deferred& work) {
  const Repository::Id machine = job.Object(work, L"Machine");
  const int state = std::stoi(work.Argument(L"State"));
  const int requested = std::stoi(work.Argument(L"Requested"));
  job.repository.Set(machine, L"EnabledState", WmiValue::Int32(state));
  job.repository.Set(machine, L"RequestedState", WmiValue::Int32(kRequestedNoChange));
  if (requested != 10 && requested != 11) {
    job.host.MarkRunning(job.repository, machine, state == kStateRunning);
  }
  job.repository.Set(machine, L"TimeOfLastStateChange", WmiValue::String(job.host.Now()));
  job.AddAffected(machine);
}

void RestoreState(JobContext& job, const Deferred& work) {
  const Repository::Id machine = job.Object(work, L"Machine");
  job.repository.Set(machine, L"EnabledState", WmiValue::Int32(std::stoi(work.Argument(L"State"))));
  job.repository.Set(machine, L"RequestedState", WmiValue::Int32(kRequestedNoChange));
}

std::uint32_t DestroySystem(MethodCall& call) {
  const auto machine = call.repository.Find(call.In(L"AffectedSystem").AsWideString());
  if (!machine) {
    return kInvalidParameter;
  }
  const auto state = call.repository.Property(*machine, L"EnabledState").AsInteger();
  if (state != kStateOff && state != kStateSaved) {
    return kInvalidState;  // a machine must be off or saved to be deleted
  }
  return call.Complete(kJobDestroySystem,
                       {kDestroySystem, {{L"Machine", call.repository.RelativePath(*machine)}}});
}

void DestroySystemNow(JobContext& job, const Deferred& work) {
  if (const auto machine = job.repository.Find(work.Argument(L"Machine"))) {
    DestroyMachine(job.repository, *machine);
  }
}

}  // namespace

void InstallLifecycleBehaviours(HostCore& host) {
  host.RegisterMethod(L"Msvm_ComputerSystem", L"RequestStateChange", RequestStateChange);
  host.RegisterMethod(L"Msvm_VirtualSystemManagementService", L"DestroySystem", DestroySystem);
  host.RegisterDeferred(kChangeState, ChangeState);
  host.RegisterDeferred(kRestoreState, RestoreState);
  host.RegisterDeferred(kDestroySystem, DestroySystemNow);
}

}  // namespace quorvane::sim
