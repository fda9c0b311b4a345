#include "simhost/faults.h"

#include <algorithm>

#include "util/case_insensitive.h"

namespace quorvane::sim {
namespace {

// Counts the call for every matching fault that still lets calls pass, and uses up one call of
// the first matching fault that does not; spent faults are dropped.
template <typename Fault, typename Matches>
std::optional<Fault> Take(std::vector<Fault>& faults, Matches matches) {
  auto firing = faults.end();
  for (auto fault = faults.begin(); fault != faults.end(); ++fault) {
    if (!matches(*fault)) {
      continue;
    }
    if (fault->skip > 0) {
      --fault->skip;
    } else if (firing == faults.end()) {
      firing = fault;
    }
  }
  if (firing == faults.end()) {
    return std::nullopt;
  }
  Fault taken = *firing;
  if (firing->remaining > 0 && --firing->remaining == 0) {
    faults.erase(firing);
  }
  return taken;
}

bool Contains(std::wstring_view text, std::wstring_view part) {
  return ToLower(text).find(ToLower(part)) != std::wstring::npos;
}

}  // namespace

std::wstring_view OperationName(Operation operation) {
  switch (operation) {
    case Operation::Connect:
      return L"Connect";
    case Operation::GetObject:
      return L"GetObject";
    case Operation::ExecQuery:
      return L"ExecQuery";
    case Operation::PutInstance:
      return L"PutInstance";
    case Operation::SpawnInstance:
      return L"SpawnInstance";
    case Operation::ExecMethod:
      return L"ExecMethod";
    case Operation::Wait:
      return L"Wait";
  }
  return L"";
}

std::optional<Operation> ParseOperationName(std::wstring_view name) {
  for (const auto operation :
       {Operation::Connect, Operation::GetObject, Operation::ExecQuery, Operation::PutInstance,
        Operation::SpawnInstance, Operation::ExecMethod, Operation::Wait}) {
    if (EqualsNoCase(OperationName(operation), name)) {
      return operation;
    }
  }
  return std::nullopt;
}

void FaultPlan::FailMethod(std::wstring className, std::wstring method, std::uint32_t returnValue,
                           int count, int skip) {
  if (count != 0) {
    methods_.push_back({std::move(className), std::move(method), returnValue, count, skip});
  }
}

void FaultPlan::FailJob(std::wstring className, std::wstring method, std::uint16_t errorCode,
                        std::wstring description, int count, int skip) {
  if (count != 0) {
    jobs_.push_back({std::move(className), std::move(method),
                     JobError{errorCode, std::move(description)}, count, skip});
  }
}

void FaultPlan::FailOperation(Operation operation, std::wstring match, HResult status, int count,
                              FailureKind kind, int skip) {
  if (count != 0) {
    operations_.push_back({operation, std::move(match), OperationError{status, kind}, count, skip});
  }
}

void FaultPlan::Clear() {
  methods_.clear();
  jobs_.clear();
  operations_.clear();
}

std::optional<std::uint32_t> FaultPlan::TakeMethodFault(const ClassDef& cls,
                                                        std::wstring_view method) {
  const auto fault = Take(methods_, [&](const MethodFault& f) {
    return Schema::Instance().IsA(cls, f.className) && EqualsNoCase(f.method, method);
  });
  return fault ? std::optional(fault->returnValue) : std::nullopt;
}

std::optional<FaultPlan::JobError> FaultPlan::TakeJobFault(const ClassDef& cls,
                                                           std::wstring_view method) {
  const auto fault = Take(jobs_, [&](const JobFault& f) {
    return Schema::Instance().IsA(cls, f.className) && EqualsNoCase(f.method, method);
  });
  return fault ? std::optional(fault->error) : std::nullopt;
}

std::optional<FaultPlan::OperationError> FaultPlan::TakeOperationFault(Operation operation,
                                                                       std::wstring_view target) {
  const auto fault = Take(operations_, [&](const OperationFault& f) {
    return f.operation == operation && Contains(target, f.match);
  });
  return fault ? std::optional(fault->error) : std::nullopt;
}

}  // namespace quorvane::sim
