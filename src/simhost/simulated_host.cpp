#include "quorvane/simulated_host.h"

#include <fstream>
#include <sstream>

#include "quorvane/exceptions.h"
#include "simhost/cim_value.h"
#include "simhost/scenario.h"
#include "util/case_insensitive.h"
#include "util/text.h"

namespace quorvane::sim {
namespace {

HostSettings SettingsFrom(const HostOptions& options) {
  HostSettings settings;
  settings.name = options.name;
  settings.hostGuardian = options.hostGuardian;
  settings.jobDurationMs = options.jobDurationMs;
  settings.user = options.user;
  settings.password = options.password;
  return settings;
}

Operation OperationFromName(const std::wstring& name) {
  for (const auto operation :
       {Operation::Connect, Operation::GetObject, Operation::ExecQuery, Operation::PutInstance,
        Operation::SpawnInstance, Operation::ExecMethod, Operation::Wait}) {
    if (EqualsNoCase(OperationName(operation), name)) {
      return operation;
    }
  }
  throw DefaultException(kLibraryErrorCode, (L"Unknown WMI operation: " + name).c_str());
}

[[noreturn]] void ThrowFileError(const std::filesystem::path& file, const char* what) {
  throw DefaultException(kLibraryErrorCode, FromUtf8(file.string() + ": " + what).c_str());
}

}  // namespace

std::wstring Call::Input(const std::wstring& name) const {
  for (const auto& [key, value] : inputs) {
    if (EqualsNoCase(key, name)) {
      return value;
    }
  }
  return L"";
}

SimulatedHost::SimulatedHost(std::shared_ptr<HostCore> core) : core_(std::move(core)) {}

SimulatedHost SimulatedHost::Create(const HostOptions& options) {
  return SimulatedHost(BuildHost(SettingsFrom(options)));
}

SimulatedHost SimulatedHost::Default() {
  return SimulatedHost(BuildDefaultHost());
}

SimulatedHost SimulatedHost::FromJson(const std::string& json, const std::string& sourceName) {
  return SimulatedHost(HostFromJson(json, sourceName));
}

SimulatedHost SimulatedHost::LoadScenario(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    ThrowFileError(file, "cannot be opened");
  }
  std::ostringstream text;
  text << in.rdbuf();
  return FromJson(text.str(), file.string());
}

std::string SimulatedHost::ToJson() const {
  return HostToJson(*core_);
}

void SimulatedHost::SaveScenario(const std::filesystem::path& file) const {
  const std::string json = ToJson();
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << json << '\n';
  if (!out.flush()) {
    ThrowFileError(file, "cannot be written");
  }
}

void SimulatedHost::FailMethodCalls(const std::wstring& className, const std::wstring& method,
                                    std::uint32_t returnValue, int count) {
  std::lock_guard lock(core_->Mutex());
  core_->Faults().FailMethod(className, method, returnValue, count);
}

void SimulatedHost::FailJobs(const std::wstring& className, const std::wstring& method,
                             std::uint16_t errorCode, const std::wstring& description, int count) {
  std::lock_guard lock(core_->Mutex());
  core_->Faults().FailJob(className, method, errorCode, description, count);
}

void SimulatedHost::FailOperations(const std::wstring& operation, const std::wstring& match,
                                   std::uint32_t status, int count) {
  const Operation kind = OperationFromName(operation);
  std::lock_guard lock(core_->Mutex());
  core_->Faults().FailOperation(kind, match, static_cast<HResult>(status), count);
}

void SimulatedHost::ClearFaults() {
  std::lock_guard lock(core_->Mutex());
  core_->Faults().Clear();
}

std::vector<Call> SimulatedHost::CallLog() const {
  std::vector<Call> calls;
  for (const auto& record : core_->CallLog()) {
    Call call{std::wstring(OperationName(record.operation)),
              record.nameSpace,
              record.target,
              record.method,
              {},
              record.clockMs};
    for (const auto& [name, value] : record.inputs) {
      call.inputs.emplace_back(name, DescribeValue(value));
    }
    calls.push_back(std::move(call));
  }
  return calls;
}

void SimulatedHost::ClearCallLog() {
  core_->ClearCallLog();
}

std::uint64_t SimulatedHost::ClockMs() const {
  std::lock_guard lock(core_->Mutex());
  return core_->ClockMs();
}

void SimulatedHost::AdvanceClock(std::uint64_t milliseconds) {
  std::lock_guard lock(core_->Mutex());
  core_->AdvanceClock(milliseconds);
}

}  // namespace quorvane::sim
