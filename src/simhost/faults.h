#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/hresult.h"
#include "simhost/schema.h"

namespace quorvane::sim {

// The WMI operations a client makes, as the call log and the faults name them.
enum class Operation : std::uint8_t {
  Connect,
  GetObject,
  ExecQuery,
  PutInstance,
  SpawnInstance,
  ExecMethod,
  Wait,
};

std::wstring_view OperationName(Operation operation);
// The operation of that name (in any letter case); nothing for a name that is none.
std::optional<Operation> ParseOperationName(std::wstring_view name);

// What a failed operation raises.
enum class FailureKind : std::uint8_t { WmiStatus, ComError, StandardException };

// Scripted failures. A count below zero means every call from now on. A fault with `skip` lets
// that many matching calls pass first, so that it can hit exactly the n-th one.
class FaultPlan {
 public:
  // The next `count` calls of the method (on the class or a subclass) return `returnValue`
  // without doing anything.
  void FailMethod(std::wstring className, std::wstring method, std::uint32_t returnValue, int count,
                  int skip = 0);
  // The next `count` jobs the method starts end in state 10 with this error.
  void FailJob(std::wstring className, std::wstring method, std::uint16_t errorCode,
               std::wstring description, int count, int skip = 0);
  // The next `count` operations of this kind whose target contains `match` (case-insensitive;
  // empty matches all) fail with `status`.
  void FailOperation(Operation operation, std::wstring match, HResult status, int count,
                     FailureKind kind = FailureKind::WmiStatus, int skip = 0);
  void Clear();

  std::optional<std::uint32_t> TakeMethodFault(const ClassDef& cls, std::wstring_view method);
  struct JobError {
    std::uint16_t code;
    std::wstring description;
  };
  std::optional<JobError> TakeJobFault(const ClassDef& cls, std::wstring_view method);
  struct OperationError {
    HResult status;
    FailureKind kind;
  };
  std::optional<OperationError> TakeOperationFault(Operation operation, std::wstring_view target);

 private:
  struct MethodFault {
    std::wstring className;
    std::wstring method;
    std::uint32_t returnValue;
    int remaining;
    int skip;
  };
  struct JobFault {
    std::wstring className;
    std::wstring method;
    JobError error;
    int remaining;
    int skip;
  };
  struct OperationFault {
    Operation operation;
    std::wstring match;
    OperationError error;
    int remaining;
    int skip;
  };

  std::vector<MethodFault> methods_;
  std::vector<JobFault> jobs_;
  std::vector<OperationFault> operations_;
};

}  // namespace quorvane::sim
