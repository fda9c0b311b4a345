#include "simhost/host_core.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <stdexcept>

#include "errors/status.h"
#include "platform/com_error.h"
#include "quorvane/exceptions.h"
#include "simhost/cim_value.h"
#include "simhost/hyperv_names.h"
#include "simhost/sim_wmi.h"
#include "simhost/wql.h"
#include "util/case_insensitive.h"

namespace quorvane::sim {
namespace {

constexpr HResult kQuotaViolation = ToHResult(0x80041045);
// How long Hyper-V keeps a job after it ends ("TimeBeforeRemoval").
constexpr std::uint64_t kJobRetentionMs = 5 * 60 * 1000;
constexpr wchar_t kJobRetention[] = L"00000000000500.000000:000";
constexpr wchar_t kRemoveJob[] = L"RemoveJob";

[[noreturn]] void Fail(HResult status) {
  ThrowForStatus(status, WmiMessageText(status));
}

std::uint64_t SplitMix64(std::uint64_t& state) {
  std::uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

bool IsLocalHostName(const std::wstring& host, const std::wstring& name) {
  return host.empty() || host == L"." || EqualsNoCase(host, L"localhost") ||
         EqualsNoCase(host, name);
}

// Civil date from days since 1970-01-01 (proleptic Gregorian).
void CivilFromDays(std::int64_t days, int& year, int& month, int& day) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t mp = (5 * dayOfYear + 2) / 153;
  day = static_cast<int>(dayOfYear - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
}

// A value a WHERE clause can read: a class property or one of the path system properties.
WqlProperty LookupForQuery(const Repository& repository, Repository::Id id,
                           const std::wstring& name) {
  const Instance& instance = repository.Get(id);
  if (EqualsNoCase(name, L"__PATH")) {
    return {WmiValue::String(repository.FullPath(id)), false};
  }
  if (EqualsNoCase(name, L"__RELPATH")) {
    return {WmiValue::String(repository.RelativePath(id)), false};
  }
  if (EqualsNoCase(name, L"__CLASS")) {
    return {WmiValue::String(std::wstring(instance.cls->name)), false};
  }
  const MemberDef* member = Schema::Instance().FindProperty(*instance.cls, name);
  const bool numeric =
      member != nullptr && (member->type == CimType::UInt64 || member->type == CimType::SInt64);
  return {instance.Get(name), numeric};
}

// Every property a query names must exist; those its WHERE clause tests must not be arrays.
void CheckQueryProperties(const ClassDef& cls, const SelectQuery& query) {
  std::vector<std::wstring> tested;
  if (query.where) {
    CollectProperties(*query.where, tested);
  }
  const auto check = [&cls](const std::wstring& name, bool inWhere) {
    if (name.rfind(L"__", 0) == 0) {
      return;
    }
    const MemberDef* member = Schema::Instance().FindProperty(cls, name);
    if (member == nullptr || (inWhere && member->array)) {
      Fail(status::kWbemInvalidQuery);
    }
  };
  for (const auto& name : query.properties) {
    check(name, false);
  }
  for (const auto& name : tested) {
    check(name, true);
  }
}

// A condition every match must meet that the repository answers from its index: a string
// identifier equal to a text, alone or on one side of an AND. The rest of the clause is still
// evaluated on the candidates, so the answer is the same as scanning the class.
const WqlExpression* IndexedEquality(const ClassDef& cls, const WqlExpression& where) {
  if (where.op == WqlExpression::Op::And) {
    const WqlExpression* left = where.left ? IndexedEquality(cls, *where.left) : nullptr;
    return left != nullptr ? left : (where.right ? IndexedEquality(cls, *where.right) : nullptr);
  }
  if (where.op != WqlExpression::Op::Equal || where.literal.type != WqlLiteral::Type::String ||
      !Repository::IsIndexed(where.property)) {
    return nullptr;
  }
  const MemberDef* property = Schema::Instance().FindProperty(cls, where.property);
  return property != nullptr && property->type == CimType::String && !property->array ? &where
                                                                                      : nullptr;
}

}  // namespace

std::wstring CimDatetimeFromClock(std::uint64_t clockMs, std::int32_t utcOffsetMinutes) {
  constexpr std::int64_t kDays1970To2026 = 20454;
  const std::int64_t totalSeconds =
      static_cast<std::int64_t>(clockMs / 1000) + std::int64_t{utcOffsetMinutes} * 60;
  // Whole days before the time of day, also for a local time before the clock's zero.
  const std::int64_t days = (totalSeconds >= 0 ? totalSeconds : totalSeconds - 86399) / 86400;
  const std::int64_t secondOfDay = totalSeconds - days * 86400;
  int year = 0;
  int month = 0;
  int day = 0;
  CivilFromDays(kDays1970To2026 + days, year, month, day);
  wchar_t buffer[32];
  std::swprintf(buffer, 32, L"%04d%02d%02d%02d%02d%02d.%06d%c%03d", year, month, day,
                static_cast<int>(secondOfDay / 3600), static_cast<int>(secondOfDay / 60 % 60),
                static_cast<int>(secondOfDay % 60), static_cast<int>(clockMs % 1000) * 1000,
                utcOffsetMinutes > 0 ? L'+' : L'-', std::abs(utcOffsetMinutes));
  return buffer;
}

std::wstring Deferred::Argument(std::wstring_view name) const {
  for (const auto& [key, value] : arguments) {
    if (key == name) {
      return value;
    }
  }
  return L"";
}

Repository::Id JobContext::Object(const Deferred& work, std::wstring_view argument) const {
  return ObjectAt(work.Argument(argument));
}

Repository::Id JobContext::ObjectAt(const std::wstring& path) const {
  const auto id = repository.Find(path);
  if (!id) {
    throw DefaultException(kFailed, (L"The object " + path + L" is gone.").c_str());
  }
  return *id;
}

void JobContext::AddAffected(Repository::Id element) {
  if (job) {
    repository.Associate(L"Msvm_AffectedJobElement", L"AffectedElement", element,
                         L"AffectingElement", *job);
  }
}

WmiValue MethodCall::In(std::wstring_view name) const {
  const auto found = in.find(name);
  return found == in.end() ? WmiValue() : found->second;
}

std::uint32_t MethodCall::Complete(std::uint16_t jobType, JobEffect effect, JobEffect onFailure) {
  auto failure = host.Faults().TakeJobFault(cls, method);
  if (!failure && host.IsSynchronous(cls, method)) {
    JobContext context{host, repository, std::nullopt, &out};
    host.ApplyAllOrNothing([&] { host.RunDeferred(context, effect); });
    return 0;
  }
  const Repository::Id job =
      host.StartJob(repository, JobClassOf(cls.name), jobType, std::move(failure),
                    std::move(effect), std::move(onFailure));
  out[L"Job"] = WmiValue::String(repository.FullPath(job));
  return 4096;
}

std::uint32_t MethodCall::FailThroughJob(std::uint16_t jobType, std::uint16_t errorCode,
                                         std::wstring description) {
  const Repository::Id job =
      host.StartJob(repository, JobClassOf(cls.name), jobType,
                    FaultPlan::JobError{errorCode, std::move(description)}, {});
  out[L"Job"] = WmiValue::String(repository.FullPath(job));
  return 4096;
}

HostCore::HostCore(HostSettings settings)
    : settings_(std::move(settings)), guidSeed_(HashNoCase{}(settings_.name)) {
  RegisterDeferred(kAffectElement, [](JobContext& context, const Deferred& work) {
    context.AddAffected(context.Object(work, L"Element"));
  });
  RegisterDeferred(kRemoveJob, [](JobContext& context, const Deferred& work) {
    if (const auto job = context.repository.Find(work.Argument(L"Job"))) {
      context.repository.Delete(*job);
    }
  });
  namespaces_.emplace(kVirtualizationNamespace,
                      Repository(settings_.name, kVirtualizationNamespace));
  if (settings_.hostGuardian) {
    namespaces_.emplace(kHgsNamespace, Repository(settings_.name, kHgsNamespace));
  }
}

WmiServicePtr HostCore::Connect(const std::wstring& host, const std::wstring& user,
                                const std::wstring& password, const std::wstring& nameSpace) {
  std::lock_guard lock(mutex_);
  const std::wstring target = L"\\\\" + (host.empty() ? L"." : host) + L"\\" + nameSpace;
  Record(Operation::Connect, nameSpace, target, L"",
         {{L"User", WmiValue::String(user)}, {L"Password", WmiValue::String(password)}});
  FailIfScripted(Operation::Connect, target);
  const bool local = IsLocalHostName(host, settings_.name);
  if (!local) {
    Fail(status::kRpcServerUnavailable);
  }
  const bool remote = !host.empty();
  if (!remote && (!user.empty() || !password.empty())) {
    Fail(status::kWbemLocalCredentials);
  }
  if (remote && !settings_.user.empty() &&
      (user != settings_.user || password != settings_.password)) {
    Fail(status::kAccessDenied);
  }
  if (!HasNamespace(nameSpace)) {
    Fail(status::kWbemInvalidNamespace);
  }
  return std::make_shared<SimService>(shared_from_this(),
                                      std::wstring(RequireNamespace(nameSpace).NameSpace()));
}

ObjectCopy HostCore::GetObject(const std::wstring& nameSpace, const std::wstring& path) {
  std::lock_guard lock(mutex_);
  Record(Operation::GetObject, nameSpace, path);
  FailIfScripted(Operation::GetObject, path);
  Repository& repository = RequireNamespace(nameSpace);
  const auto parsed = ParseObjectPath(path);
  if (!parsed) {
    Fail(status::kWbemInvalidObjectPath);
  }
  const ClassDef& cls = RequireClass(parsed->className);
  if (parsed->IsClassPath()) {
    return ObjectCopy{&cls, {}, L""};
  }
  const auto id = repository.Find(*parsed);
  if (!id) {
    Fail(status::kWbemNotFound);
  }
  return CopyOf(repository, *id);
}

std::vector<ObjectCopy> HostCore::ExecQuery(const std::wstring& nameSpace,
                                            const std::wstring& wql) {
  std::lock_guard lock(mutex_);
  Record(Operation::ExecQuery, nameSpace, wql);
  FailIfScripted(Operation::ExecQuery, wql);
  return RunQuery(RequireNamespace(nameSpace), wql);
}

std::vector<ObjectCopy> HostCore::RunQuery(Repository& repository, const std::wstring& wql) {
  bool tooComplex = false;
  const auto query = ParseWql(wql, &tooComplex);
  if (!query) {
    Fail(tooComplex ? kQuotaViolation : status::kWbemInvalidQuery);
  }
  std::vector<ObjectCopy> results;
  if (const auto* select = std::get_if<SelectQuery>(&*query)) {
    const ClassDef& cls = RequireClass(select->className);
    CheckQueryProperties(cls, *select);
    const WqlExpression* lookup = select->where ? IndexedEquality(cls, *select->where) : nullptr;
    const auto candidates = lookup ? repository.WithValue(lookup->property, lookup->literal.text)
                                   : repository.Enumerate(cls);
    for (const auto id : candidates) {
      if (lookup && !Schema::Instance().IsA(*repository.Get(id).cls, cls)) {
        continue;
      }
      if (!select->where || Evaluate(*select->where, [&](const std::wstring& name) {
            return LookupForQuery(repository, id, name);
          })) {
        results.push_back(CopyOf(repository, id));
      }
    }
    return results;
  }
  const auto& relationship = std::get<RelationshipQuery>(*query);
  const auto parsed = ParseObjectPath(relationship.objectPath);
  if (!parsed || parsed->IsClassPath()) {
    Fail(status::kWbemInvalidObjectPath);
  }
  const auto source = repository.Find(*parsed);
  if (!source) {
    Fail(status::kWbemNotFound);
  }
  const auto classMatches = [&](Repository::Id id, const std::wstring& wanted) {
    return wanted.empty() || Schema::Instance().IsA(*repository.Get(id).cls, wanted);
  };
  const auto roleMatches = [](std::wstring_view role, const std::wstring& wanted) {
    return wanted.empty() || EqualsNoCase(role, wanted);
  };
  std::vector<Repository::Id> seenAssociations;
  for (const auto& link : repository.LinksOf(*source)) {
    if (!roleMatches(link.role, relationship.role)) {
      continue;
    }
    if (relationship.associators) {
      if (classMatches(link.association, relationship.assocClass) &&
          classMatches(link.endpoint, relationship.resultClass) &&
          roleMatches(link.resultRole, relationship.resultRole)) {
        results.push_back(CopyOf(repository, link.endpoint));
      }
    } else if (classMatches(link.association, relationship.resultClass) &&
               std::find(seenAssociations.begin(), seenAssociations.end(), link.association) ==
                   seenAssociations.end()) {
      seenAssociations.push_back(link.association);
      results.push_back(CopyOf(repository, link.association));
    }
  }
  return results;
}

void HostCore::PutInstance(const std::wstring& nameSpace, const ObjectCopy& object,
                           const std::vector<std::wstring>& changed) {
  std::lock_guard lock(mutex_);
  ObjectCopy stored = object;
  for (auto& entry : stored.properties) {
    entry.second = DetachObjects(entry.second);
  }
  PropertyList written;
  for (const auto& name : changed) {
    const auto found = stored.properties.find(name);
    written.emplace_back(name, found == stored.properties.end() ? WmiValue() : found->second);
  }
  Record(Operation::PutInstance, nameSpace, object.relativePath, L"", written);
  FailIfScripted(Operation::PutInstance, object.relativePath);
  Repository& repository = RequireNamespace(nameSpace);
  const auto id = object.relativePath.empty() ? std::nullopt : repository.Find(object.relativePath);
  if (settings_.refusePutInstance) {
    Fail(status::kWbemProviderNotCapable);
  }
  if (!id) {
    Fail(status::kWbemNotFound);  // update only: nothing is created
  }
  // Hyper-V changes settings only through its management service's methods: a settings object
  // written back directly is accepted and nothing changes. Its other objects are read-only.
  if (Schema::Instance().IsA(*stored.cls, L"CIM_SettingData")) {
    return;
  }
  const Instance& current = repository.Get(*id);
  for (const MemberDef* property : Schema::Instance().Properties(*stored.cls)) {
    const auto found = stored.properties.find(property->name);
    const WmiValue value = found == stored.properties.end() ? WmiValue() : found->second;
    if (!(value == current.Get(property->name))) {
      Fail(status::kWbemReadOnly);
    }
  }
}

ObjectCopy HostCore::SpawnInstance(const std::wstring& nameSpace, const std::wstring& className) {
  std::lock_guard lock(mutex_);
  Record(Operation::SpawnInstance, nameSpace, className);
  FailIfScripted(Operation::SpawnInstance, className);
  RequireNamespace(nameSpace);
  return ObjectCopy{&RequireClass(className), {}, L""};
}

HostCore::MethodResult HostCore::ExecMethod(const std::wstring& nameSpace, const std::wstring& path,
                                            const std::wstring& method, const PropertyList& in) {
  std::lock_guard lock(mutex_);
  PropertyList given;
  for (const auto& [name, value] : in) {
    if (!value.IsNull()) {
      given.emplace_back(name, DetachObjects(value));
    }
  }
  Record(Operation::ExecMethod, nameSpace, path, method, given);
  FailIfScripted(Operation::ExecMethod, path);
  Repository& repository = RequireNamespace(nameSpace);
  const auto parsed = ParseObjectPath(path);
  if (!parsed) {
    Fail(status::kWbemInvalidObjectPath);
  }
  const ClassDef* cls = &RequireClass(parsed->className);
  std::optional<Repository::Id> target;
  if (!parsed->IsClassPath()) {
    target = repository.Find(*parsed);
    if (!target) {
      Fail(status::kWbemNotFound);
    }
    cls = repository.Get(*target).cls;
  }
  const MethodDef* definition = Schema::Instance().FindMethod(*cls, method);
  if (definition == nullptr) {
    Fail(status::kWbemInvalidMethod);
  }
  MethodCall call{*this, repository, *cls, target, std::wstring(definition->name), {}, {}};
  for (const auto& input : given) {
    const std::wstring& name = input.first;
    const WmiValue& value = input.second;
    const auto member =
        std::find_if(definition->in.begin(), definition->in.end(),
                     [&](const MemberDef& m) { return EqualsNoCase(m.name, name); });
    if (member == definition->in.end()) {
      Fail(status::kWbemInvalidMethodParameters);
    }
    auto converted = CoerceToMember(*member, value);
    if (!converted) {
      Fail(status::kWbemInvalidMethodParameters);
    }
    call.in[std::wstring(member->name)] = std::move(*converted);
  }
  if (const auto scripted = faults_.TakeMethodFault(*cls, method)) {
    return {*scripted, {}};
  }
  const MethodHandler* handler = FindHandler(*cls, method);
  if (handler == nullptr) {
    Fail(status::kWbemNotSupported);
  }
  const std::uint32_t returnValue = (*handler)(call);
  FinishDueJobs();
  return {returnValue, std::move(call.out)};
}

void HostCore::Wait(std::uint32_t milliseconds) {
  std::lock_guard lock(mutex_);
  Record(Operation::Wait, L"", L"", L"",
         {{L"Milliseconds", WmiValue::Int32(static_cast<std::int32_t>(milliseconds))}});
  waitedMs_ += milliseconds;
  if (settings_.waitLimitMs != 0 && waitedMs_ > settings_.waitLimitMs) {
    // A test that would otherwise poll for ever (a job that never ends) fails instead.
    waitedMs_ = 0;
    Fail(status::kWbemTimedOut);
  }
  AdvanceClockLocked(milliseconds);
}

Repository& HostCore::Namespace(std::wstring_view name) {
  return RequireNamespace(name);
}

bool HostCore::HasNamespace(std::wstring_view name) const {
  return namespaces_.find(name) != namespaces_.end();
}

void HostCore::RegisterMethod(std::wstring className, std::wstring method, MethodHandler handler) {
  handlers_[{ToLower(className), ToLower(method)}] = std::move(handler);
}

void HostCore::SetSynchronous(std::wstring className, std::wstring method, bool synchronous) {
  const auto same = [&](const auto& entry) {
    return EqualsNoCase(entry.first, className) && EqualsNoCase(entry.second, method);
  };
  synchronous_.erase(std::remove_if(synchronous_.begin(), synchronous_.end(), same),
                     synchronous_.end());
  if (synchronous) {
    synchronous_.emplace_back(std::move(className), std::move(method));
  }
}

std::vector<std::pair<std::wstring, std::wstring>> HostCore::SynchronousMethods() const {
  return synchronous_;
}

bool HostCore::IsSynchronous(const ClassDef& cls, std::wstring_view method) const {
  return std::any_of(synchronous_.begin(), synchronous_.end(), [&](const auto& entry) {
    return Schema::Instance().IsA(cls, entry.first) && EqualsNoCase(entry.second, method);
  });
}

std::vector<CallRecord> HostCore::CallLog() const {
  std::lock_guard lock(mutex_);
  return log_;
}

void HostCore::ClearCallLog() {
  std::lock_guard lock(mutex_);
  log_.clear();
}

void HostCore::AdvanceClock(std::uint64_t milliseconds) {
  std::lock_guard lock(mutex_);
  AdvanceClockLocked(milliseconds);
}

void HostCore::AdvanceClockLocked(std::uint64_t milliseconds) {
  clockMs_ += milliseconds;
  FinishDueJobs();
}

void HostCore::Schedule(std::uint64_t delayMs, std::wstring_view nameSpace, Deferred work) {
  const auto added =
      timers_.emplace(clockMs_ + delayMs, Timer{std::wstring(nameSpace), std::move(work)});
  if (scheduledInEffect_) {
    scheduledInEffect_->push_back(added);
  }
}

void HostCore::ApplyAllOrNothing(const std::function<void()>& effect) {
  for (auto& [name, repository] : namespaces_) {
    repository.BeginChange();
  }
  disks_.BeginChange();
  scheduledInEffect_.emplace();
  undoInEffect_.emplace();
  try {
    effect();
  } catch (...) {
    for (auto& [name, repository] : namespaces_) {
      repository.RollBack();
    }
    disks_.RollBack();
    for (const auto& timer : *scheduledInEffect_) {
      timers_.erase(timer);
    }
    for (auto undo = undoInEffect_->rbegin(); undo != undoInEffect_->rend(); ++undo) {
      (*undo)();
    }
    scheduledInEffect_.reset();
    undoInEffect_.reset();
    throw;
  }
  scheduledInEffect_.reset();
  undoInEffect_.reset();
  disks_.Commit();
  for (auto& [name, repository] : namespaces_) {
    repository.Commit();
  }
}

std::wstring HostCore::Now() const {
  return CimDatetimeFromClock(clockMs_);
}

std::wstring HostCore::LocalNow() const {
  constexpr std::int32_t kWidestZone = 14 * 60;
  return CimDatetimeFromClock(clockMs_,
                              std::clamp(settings_.utcOffsetMinutes, -kWidestZone, kWidestZone));
}

std::wstring HostCore::NewGuid() {
  const std::uint64_t high = SplitMix64(guidSeed_);
  const std::uint64_t low = SplitMix64(guidSeed_);
  wchar_t buffer[40];
  std::swprintf(buffer, 40, L"%08X-%04X-4%03X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFF),
                static_cast<unsigned>(0x8000 | ((low >> 48) & 0x3FFF)),
                static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFull));
  return buffer;
}

Repository::Id HostCore::StartJob(Repository& repository, const JobClass& jobClass,
                                  std::uint16_t jobType, std::optional<FaultPlan::JobError> failure,
                                  JobEffect effect, JobEffect onFailure) {
  const std::wstring now = Now();
  const JobKind kind = JobKindOf(jobType);
  if (failure && failure->code == 0) {
    failure->code = kind.failureCode;  // scripted without a code: the operation's own
  }
  const Repository::Id job = repository.Create(
      jobClass.name, {{L"InstanceID", WmiValue::String(NewGuid())},
                      {L"ElementName", WmiValue::String(kind.elementName)},
                      {L"Description", WmiValue::String(kind.description)},
                      {L"TimeBeforeRemoval", WmiValue::String(kJobRetention)},
                      {L"JobType", WmiValue::Int32(jobType)},
                      {L"JobState", WmiValue::Int32(kJobRunning)},
                      {L"ErrorCode", WmiValue::Int32(0)},
                      {L"PercentComplete", WmiValue::Int32(0)},
                      {L"Cancellable", WmiValue::Boolean(false)},
                      {L"JobStatus", WmiValue::String(L"Job is running")},
                      {L"TimeSubmitted", WmiValue::String(now)},
                      {L"StartTime", WmiValue::String(now)},
                      {L"OperationalStatus", WmiValue::Array(std::vector<std::int32_t>{2})},
                      {L"StatusDescriptions", WmiValue::Array(std::vector<std::wstring>{L"OK"})},
                      {L"HealthState", WmiValue::Int32(5)},
                      {L"Caption", WmiValue::String(jobClass.caption)}});
  pendingJobs_.emplace(
      std::pair(std::wstring(repository.NameSpace()), job),
      PendingJob{std::wstring(repository.NameSpace()), clockMs_ + settings_.jobDurationMs,
                 std::move(failure), std::move(effect), std::move(onFailure)});
  return job;
}

void HostCore::RegisterDeferred(std::wstring kind, DeferredHandler handler) {
  deferredHandlers_[std::move(kind)] = std::move(handler);
}

void HostCore::RunDeferred(JobContext& context, const Deferred& work) {
  if (work.kind.empty()) {
    return;
  }
  const auto handler = deferredHandlers_.find(work.kind);
  if (handler == deferredHandlers_.end()) {
    throw DefaultException(kFailed, (L"No such deferred work: " + work.kind).c_str());
  }
  handler->second(context, work);
}

std::vector<std::pair<std::wstring, HostCore::PendingJob>> HostCore::PendingJobs() const {
  std::vector<std::pair<std::wstring, PendingJob>> jobs;
  for (const auto& [key, pending] : pendingJobs_) {
    const Repository& repository = namespaces_.at(key.first);
    if (repository.Contains(key.second)) {
      jobs.emplace_back(repository.RelativePath(key.second), pending);
    }
  }
  return jobs;
}

std::vector<std::pair<std::uint64_t, HostCore::Timer>> HostCore::Timers() const {
  return {timers_.begin(), timers_.end()};
}

void HostCore::ResumeJob(const std::wstring& jobPath, PendingJob pending) {
  const auto job = RequireNamespace(pending.nameSpace).Find(jobPath);
  if (!job) {
    throw DefaultException(kLibraryErrorCode, (L"No job at " + jobPath).c_str());
  }
  pendingJobs_.emplace(std::pair(pending.nameSpace, *job), std::move(pending));
}

void HostCore::ResumeTimer(std::uint64_t dueAtMs, Timer timer) {
  RequireNamespace(timer.nameSpace);
  timers_.emplace(dueAtMs, std::move(timer));
}

Repository& HostCore::RequireNamespace(std::wstring_view name) {
  const auto found = namespaces_.find(name);
  if (found == namespaces_.end()) {
    Fail(status::kWbemInvalidNamespace);
  }
  return found->second;
}

void HostCore::Record(Operation operation, std::wstring_view nameSpace, std::wstring target,
                      std::wstring method, PropertyList inputs) {
  log_.push_back({operation, std::wstring(nameSpace), std::move(target), std::move(method),
                  std::move(inputs), clockMs_});
  // A client that only polls and waits is waiting for one thing; anything else ends that.
  if (operation != Operation::Wait && operation != Operation::GetObject) {
    waitedMs_ = 0;
  }
}

void HostCore::FailIfScripted(Operation operation, std::wstring_view target) {
  const auto scripted = faults_.TakeOperationFault(operation, target);
  if (!scripted) {
    return;
  }
  switch (scripted->kind) {
    case FailureKind::ComError:
      throw ComError(scripted->status);
    case FailureKind::StandardException:
      throw std::runtime_error("scripted failure");
    case FailureKind::WmiStatus:
      Fail(scripted->status);
  }
}

ObjectCopy HostCore::CopyOf(const Repository& repository, Repository::Id id) const {
  const Instance& instance = repository.Get(id);
  ObjectCopy copy{instance.cls, instance.properties.Map(), repository.RelativePath(id)};
  const auto running = runningSince_.find(id);
  if (running != runningSince_.end() && &repository == &namespaces_.at(kVirtualizationNamespace)) {
    copy.properties[L"OnTimeInMilliseconds"] = WmiValue::UInt64(clockMs_ - running->second);
  }
  return copy;
}

void HostCore::MarkRunning(Repository& repository, Repository::Id machine, bool running) {
  if (undoInEffect_) {
    const auto since = runningSince_.find(machine);
    undoInEffect_->push_back(
        [this, machine,
         before = since == runningSince_.end() ? std::nullopt : std::optional(since->second)] {
          if (before) {
            runningSince_[machine] = *before;
          } else {
            runningSince_.erase(machine);
          }
        });
  }
  // Worker process identifiers as Windows hands them out: multiples of four.
  constexpr std::int64_t kFirstWorkerProcess = 4000;
  if (running) {
    runningSince_[machine] = clockMs_;
    repository.Set(machine, L"ProcessID",
                   WmiValue::Int32(static_cast<std::int32_t>(kFirstWorkerProcess + 4 * machine)));
    repository.Set(machine, L"OnTimeInMilliseconds", WmiValue::UInt64(0));
  } else {
    runningSince_.erase(machine);
    repository.Set(machine, L"ProcessID", WmiValue());
    repository.Set(machine, L"OnTimeInMilliseconds", WmiValue::UInt64(0));
  }
}

void HostCore::SetCheckpointConsistency(const std::wstring& instanceId, std::uint16_t level) {
  if (undoInEffect_) {
    undoInEffect_->push_back([this, instanceId] { checkpointConsistency_.erase(instanceId); });
  }
  checkpointConsistency_[instanceId] = level;
}

std::uint16_t HostCore::CheckpointConsistency(const std::wstring& instanceId) const {
  constexpr std::uint16_t kCrashConsistent = 2;
  const auto found = checkpointConsistency_.find(instanceId);
  return found == checkpointConsistency_.end() ? kCrashConsistent : found->second;
}

void HostCore::FinishDueJobs() {
  while (!timers_.empty() && timers_.begin()->first <= clockMs_) {
    const Timer timer = std::move(timers_.begin()->second);
    timers_.erase(timers_.begin());
    JobContext context{*this, RequireNamespace(timer.nameSpace), std::nullopt};
    RunDeferred(context, timer.work);
  }
  while (true) {
    const auto due = std::min_element(
        pendingJobs_.begin(), pendingJobs_.end(),
        [](const auto& a, const auto& b) { return a.second.finishAtMs < b.second.finishAtMs; });
    if (due == pendingJobs_.end() || due->second.finishAtMs > clockMs_) {
      return;
    }
    const Repository::Id job = due->first.second;
    PendingJob pending = std::move(due->second);
    pendingJobs_.erase(due);
    Repository& repository = RequireNamespace(pending.nameSpace);
    if (!repository.Contains(job)) {
      continue;
    }
    std::optional<FaultPlan::JobError> failure = std::move(pending.failure);
    if (!failure) {
      try {
        JobContext context{*this, repository, job};
        ApplyAllOrNothing([&] { RunDeferred(context, pending.effect); });
      } catch (const DefaultException& e) {
        const auto type =
            static_cast<std::uint16_t>(repository.Property(job, L"JobType").AsInteger());
        failure = FaultPlan::JobError{JobKindOf(type).failureCode, e.GetMessageDescription()};
      }
    }
    repository.Set(job, L"PercentComplete", WmiValue::Int32(100));
    repository.Set(job, L"TimeOfLastStateChange", WmiValue::String(Now()));
    if (failure) {
      try {
        JobContext context{*this, repository, job};
        ApplyAllOrNothing([&] { RunDeferred(context, pending.onFailure); });
      } catch (const DefaultException&) {
        // What the call showed is gone with its object; there is nothing left to take back.
      }
      repository.Set(job, L"JobState", WmiValue::Int32(kJobException));
      repository.Set(job, L"ErrorCode", WmiValue::Int32(failure->code));
      repository.Set(job, L"ErrorDescription", WmiValue::String(failure->description));
      repository.Set(job, L"JobStatus", WmiValue::String(L"Job is completed with error"));
    } else {
      repository.Set(job, L"JobState", WmiValue::Int32(kJobCompleted));
      repository.Set(job, L"JobStatus", WmiValue::String(L"Job completed successfully"));
    }
    // Hyper-V removes a job some minutes after it ends.
    Schedule(kJobRetentionMs, pending.nameSpace,
             {kRemoveJob, {{L"Job", repository.RelativePath(job)}}});
  }
}

const MethodHandler* HostCore::FindHandler(const ClassDef& cls, std::wstring_view method) const {
  for (const ClassDef* c = &cls; c != nullptr; c = Schema::Instance().Superclass(*c)) {
    const auto found = handlers_.find({ToLower(c->name), ToLower(method)});
    if (found != handlers_.end()) {
      return &found->second;
    }
  }
  return nullptr;
}

}  // namespace quorvane::sim
