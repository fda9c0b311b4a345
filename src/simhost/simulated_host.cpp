#include "quorvane/simulated_host.h"

#include <fstream>

#include "quorvane/exceptions.h"
#include "simhost/cim_value.h"
#include "simhost/hyperv_model.h"
#include "simhost/scenario.h"
#include "util/case_insensitive.h"
#include "util/file_replace.h"
#include "util/text.h"

namespace quorvane::sim {
namespace {

Operation OperationFromName(const std::wstring& name) {
  if (const auto operation = ParseOperationName(name)) {
    return *operation;
  }
  throw DefaultException(kLibraryErrorCode, (L"Unknown WMI operation: " + name).c_str());
}

// The repository a path's namespace names; the virtualization namespace when it names none.
Repository& RepositoryOf(HostCore& core, const std::wstring& path) {
  const auto parsed = ParseObjectPath(path);
  if (parsed && !parsed->nameSpace.empty() && core.HasNamespace(parsed->nameSpace)) {
    return core.Namespace(parsed->nameSpace);
  }
  return core.Namespace(kVirtualizationNamespace);
}

[[noreturn]] void ThrowFileError(const std::filesystem::path& file, const char* what) {
  throw DefaultException(kLibraryErrorCode, FromUtf8(file.string() + ": " + what).c_str());
}

// The calls before the n-th pass; a count of calls below 1 names none.
int CallsToSkip(int nth) {
  if (nth < 1) {
    throw DefaultException(kLibraryErrorCode, L"The n-th call counts from 1");
  }
  return nth - 1;
}

class HostFactory final : public IQuorvaneFactory {
 public:
  explicit HostFactory(SimulatedHost host) : host_(std::move(host)) {}
  void Release() override { delete this; }
  IQuorvane* CreateLocal() override { return host_.CreateQuorvane(); }
  IQuorvane* CreateRemote(const wchar_t* host, const wchar_t* user,
                          const wchar_t* password) override {
    return host_.CreateQuorvane(host, user, password);
  }

 private:
  SimulatedHost host_;
};

}  // namespace

IQuorvaneFactory* SimulatedHost::CreateFactory() const {
  return new HostFactory(*this);
}

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
  return SimulatedHost(BuildHost(options));
}

SimulatedHost SimulatedHost::Default() {
  return SimulatedHost(BuildDefaultHost());
}

SimulatedHost SimulatedHost::FromJson(const std::string& json, const std::string& sourceName) {
  return SimulatedHost(HostFromJson(json, sourceName));
}

SimulatedHost SimulatedHost::LoadScenario(const std::filesystem::path& file) {
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    // A directory, a device or a pipe: nothing a scenario is kept in, and /dev/zero never ends.
    ThrowFileError(file, "is not a regular file");
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    ThrowFileError(file, "cannot be opened");
  }
  return SimulatedHost(HostFromStream(in, file.string()));
}

std::string SimulatedHost::ToJson() const {
  return HostToJson(*core_);
}

void SimulatedHost::SaveScenario(const std::filesystem::path& file) const {
  if (!ReplaceFileContents(file, ToJson() + '\n')) {
    ThrowFileError(file, "cannot be written");
  }
}

void SimulatedHost::FailMethodCalls(const std::wstring& className, const std::wstring& method,
                                    std::uint32_t returnValue, int count) {
  std::lock_guard lock(core_->mutex_);
  core_->Faults().FailMethod(className, method, returnValue, count);
}

void SimulatedHost::FailJobs(const std::wstring& className, const std::wstring& method,
                             std::uint16_t errorCode, const std::wstring& description, int count) {
  std::lock_guard lock(core_->mutex_);
  core_->Faults().FailJob(className, method, errorCode, description, count);
}

void SimulatedHost::FailOperations(const std::wstring& operation, const std::wstring& match,
                                   std::uint32_t status, int count, FaultKind kind) {
  const Operation which = OperationFromName(operation);
  std::lock_guard lock(core_->mutex_);
  core_->Faults().FailOperation(which, match, static_cast<HResult>(status), count,
                                static_cast<FailureKind>(kind));
}

void SimulatedHost::FailNthMethodCall(const std::wstring& className, const std::wstring& method,
                                      int nth, std::uint32_t returnValue) {
  const int skip = CallsToSkip(nth);
  std::lock_guard lock(core_->mutex_);
  core_->Faults().FailMethod(className, method, returnValue, 1, skip);
}

void SimulatedHost::FailNthJob(const std::wstring& className, const std::wstring& method, int nth,
                               std::uint16_t errorCode, const std::wstring& description) {
  const int skip = CallsToSkip(nth);
  std::lock_guard lock(core_->mutex_);
  core_->Faults().FailJob(className, method, errorCode, description, 1, skip);
}

void SimulatedHost::FailNthOperation(const std::wstring& operation, const std::wstring& match,
                                     int nth, std::uint32_t status, FaultKind kind) {
  const Operation which = OperationFromName(operation);
  const int skip = CallsToSkip(nth);
  std::lock_guard lock(core_->mutex_);
  core_->Faults().FailOperation(which, match, static_cast<HResult>(status), 1,
                                static_cast<FailureKind>(kind), skip);
}

void SimulatedHost::ClearFaults() {
  std::lock_guard lock(core_->mutex_);
  core_->Faults().Clear();
}

std::wstring SimulatedHost::AddMachine(const MachineSpec& spec) {
  std::lock_guard lock(core_->mutex_);
  Repository& v2 = core_->Namespace(kVirtualizationNamespace);
  const auto id = DefineMachine(*core_, spec);
  return v2.Property(id, spec.planned ? L"ConfigurationID" : L"Name").AsWideString();
}

std::wstring SimulatedHost::AddSnapshot(const std::wstring& machineId, const std::wstring& name,
                                        bool recovery) {
  std::lock_guard lock(core_->mutex_);
  Repository& v2 = core_->Namespace(kVirtualizationNamespace);
  const auto machine = MachineByName(v2, machineId);
  if (!machine) {
    throw DefaultException(kLibraryErrorCode, (L"No machine " + machineId).c_str());
  }
  const auto snapshot =
      TakeSnapshot(*core_, *machine, recovery ? kSnapshotRecovery : kSnapshotStandard, name);
  return v2.Property(snapshot, L"ConfigurationID").AsWideString();
}

std::wstring SimulatedHost::AddSwitch(const std::wstring& name) {
  std::lock_guard lock(core_->mutex_);
  const auto id = sim::AddSwitch(*core_, name, L"");
  return core_->Namespace(kVirtualizationNamespace).Property(id, L"Name").AsWideString();
}

std::wstring SimulatedHost::AddDiskFile(const std::wstring& path, std::uint64_t sizeBytes,
                                        const std::wstring& parentPath) {
  std::lock_guard lock(core_->mutex_);
  if (core_->Disks().Find(path) != nullptr ||
      (!parentPath.empty() && core_->Disks().Find(parentPath) == nullptr)) {
    throw DefaultException(kLibraryErrorCode, (L"Cannot make disk file " + path).c_str());
  }
  return CreateDiskFile(*core_, path, sizeBytes, parentPath).diskId;
}

void SimulatedHost::AttachDisk(const std::wstring& machineId, const std::wstring& path) {
  Attach(machineId, path, false);
}

void SimulatedHost::AttachDvd(const std::wstring& machineId, const std::wstring& isoPath) {
  Attach(machineId, isoPath, true);
}

void SimulatedHost::Attach(const std::wstring& machineId, const std::wstring& path, bool dvd) {
  std::lock_guard lock(core_->mutex_);
  Repository& v2 = core_->Namespace(kVirtualizationNamespace);
  const auto machine = MachineByName(v2, machineId);
  const auto settings = machine ? RealizedSettingsOf(v2, *machine) : std::nullopt;
  if (!settings || (!dvd && core_->Disks().Find(path) == nullptr)) {
    throw DefaultException(kLibraryErrorCode, (L"Cannot attach " + path).c_str());
  }
  AttachAtFreePlace(*core_, *settings, path, dvd);
}

void SimulatedHost::DetachDisk(const std::wstring& machineId, const std::wstring& path) {
  std::lock_guard lock(core_->mutex_);
  Repository& v2 = core_->Namespace(kVirtualizationNamespace);
  const auto machine = MachineByName(v2, machineId);
  const auto settings = machine ? RealizedSettingsOf(v2, *machine) : std::nullopt;
  if (!settings) {
    throw DefaultException(kLibraryErrorCode, (L"No machine " + machineId).c_str());
  }
  for (const auto part : PartsOf(v2, *settings)) {
    const auto files = v2.Property(part, L"HostResource").AsWideStringArray();
    if (files.empty() ||
        !EqualsNoCase(core_->Disks().RootOf(files.front()), core_->Disks().RootOf(path))) {
      continue;
    }
    if (const auto drive = v2.Find(v2.Property(part, L"Parent").AsWideString())) {
      v2.Delete(*drive);
    }
    v2.Delete(part);
    return;
  }
  throw DefaultException(kLibraryErrorCode, (L"The machine has no disk " + path).c_str());
}

void SimulatedHost::SetMachineSecurity(const std::wstring& machineId, bool tpm, bool shielding,
                                       bool encryptState) {
  std::lock_guard lock(core_->mutex_);
  if (!SetSecurity(core_->Namespace(kVirtualizationNamespace), machineId, tpm, shielding,
                   encryptState)) {
    throw DefaultException(kLibraryErrorCode, (L"No machine " + machineId).c_str());
  }
}

void SimulatedHost::WriteToDisk(const std::wstring& path, std::uint64_t offset,
                                std::uint64_t length) {
  std::lock_guard lock(core_->mutex_);
  const VirtualDisk* disk = core_->Disks().Find(path);
  if (disk == nullptr || offset > disk->maxInternalSize ||
      length > disk->maxInternalSize - offset) {
    throw DefaultException(kLibraryErrorCode, (L"Cannot write to " + path).c_str());
  }
  core_->Disks().Write(core_->Disks().LeafOf(path), offset, length);
}

void SimulatedHost::ExpireChangeTracking(const std::wstring& path) {
  std::lock_guard lock(core_->mutex_);
  if (core_->Disks().Find(path) == nullptr) {
    throw DefaultException(kLibraryErrorCode, (L"No disk file " + path).c_str());
  }
  core_->Disks().ExpireChain(path);
}

void SimulatedHost::SetProperty(const std::wstring& path, const std::wstring& property,
                                const std::wstring& value) {
  std::lock_guard lock(core_->mutex_);
  Repository& repository = RepositoryOf(*core_, path);
  const auto id = repository.Find(path);
  if (!id) {
    throw DefaultException(kLibraryErrorCode, (L"No object at " + path).c_str());
  }
  const MemberDef* member = Schema::Instance().FindProperty(*repository.Get(*id).cls, property);
  const auto converted = member ? ScalarFromCimText(member->type, value) : std::nullopt;
  if (!converted) {
    throw DefaultException(kLibraryErrorCode,
                           (L"Cannot set " + property + L" to \"" + value + L"\"").c_str());
  }
  repository.Set(*id, property, *converted);
}

void SimulatedHost::SetUncheckedNumberText(const std::wstring& path, const std::wstring& property,
                                           const std::wstring& text) {
  std::lock_guard lock(core_->mutex_);
  Repository& repository = RepositoryOf(*core_, path);
  const auto id = repository.Find(path);
  const MemberDef* member =
      id ? Schema::Instance().FindProperty(*repository.Get(*id).cls, property) : nullptr;
  if (member == nullptr || (member->type != CimType::UInt64 && member->type != CimType::SInt64)) {
    throw DefaultException(kLibraryErrorCode,
                           (L"No 64-bit number " + property + L" at " + path).c_str());
  }
  repository.SetUnchecked(*id, member->name, WmiValue::String(text));
}

void SimulatedHost::RemoveObject(const std::wstring& path) {
  std::lock_guard lock(core_->mutex_);
  Repository& repository = RepositoryOf(*core_, path);
  if (const auto id = repository.Find(path)) {
    repository.Delete(*id);
  }
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
  std::lock_guard lock(core_->mutex_);
  return core_->ClockMs();
}

void SimulatedHost::AdvanceClock(std::uint64_t milliseconds) {
  core_->AdvanceClock(milliseconds);
}

}  // namespace quorvane::sim
