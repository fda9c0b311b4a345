#include "simhost/com/served_host.h"

#include "platform/windows_api.h"

#include <objbase.h>

#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "quorvane/simulated_host.h"
#include "simhost/host_core.h"
#include "simhost/host_core_access.h"
#include "simhost/sim_wmi.h"
#include "util/file_lock.h"
#include "util/text.h"

namespace quorvane::sim::com {
namespace {

// COM activates a server by class identifier, for the whole process: this is the one place
// where the served host and the details it recorded live.
struct ServedState {
  std::mutex mutex;
  std::shared_ptr<HostCore> host;
  std::vector<std::wstring> details;
  // By thread identifier rather than in thread-local storage, whose destructors would run
  // under the loader's lock when a thread ends.
  std::map<DWORD, std::weak_ptr<SimService>> serviceOfThread;
  // The scenario file's host and the file, when this process serves one.
  std::optional<SimulatedHost> scenario;
  std::wstring scenarioFile;
  std::set<std::uint64_t> servedApartments;
  bool checkApartments = false;
};

// How far a scenario's clock moves with each served call.
constexpr std::uint64_t kScenarioStepMs = 100;

// The lock file beside the scenario, so that processes read and write it in turn.
FileLock LockScenario(const std::wstring& file) {
  return FileLock(std::filesystem::path(file + L".lock"), ToUtf8(file) + ".lock");
}

std::wstring ScenarioVariable() {
  const DWORD size = GetEnvironmentVariableW(L"QUORVANE_SCENARIO", nullptr, 0);
  if (size == 0) {
    return L"";
  }
  std::wstring value(size, L'\0');
  const DWORD written = GetEnvironmentVariableW(L"QUORVANE_SCENARIO", value.data(), size);
  value.resize(written < size ? written : 0);
  return value;
}

ServedState& State() {
  static ServedState state;
  return state;
}

}  // namespace

void Serve(std::shared_ptr<HostCore> host) {
  std::lock_guard lock(State().mutex);
  State().host = std::move(host);
}

std::shared_ptr<HostCore> ServedHost() {
  std::lock_guard lock(State().mutex);
  return State().host;
}

std::shared_ptr<HostCore> ServedHostOrScenario() {
  std::lock_guard lock(State().mutex);
  if (State().host) {
    return State().host;
  }
  const std::wstring file = ScenarioVariable();
  if (file.empty()) {
    return nullptr;
  }
  const FileLock fileLock = LockScenario(file);
  State().scenario = SimulatedHost::LoadScenario(std::filesystem::path(file));
  State().scenarioFile = file;
  State().host = HostCoreAccess::Core(*State().scenario);
  return State().host;
}

void ScenarioCallServed() {
  std::lock_guard lock(State().mutex);
  if (!State().scenario || State().host != HostCoreAccess::Core(*State().scenario)) {
    return;
  }
  State().scenario->AdvanceClock(kScenarioStepMs);
  const FileLock fileLock = LockScenario(State().scenarioFile);
  State().scenario->SaveScenario(std::filesystem::path(State().scenarioFile));
}

std::uint64_t ApartmentOfThread() {
  APTTYPE type{};
  APTTYPEQUALIFIER qualifier{};
  if (SUCCEEDED(CoGetApartmentType(&type, &qualifier)) && type == APTTYPE_MTA) {
    return 0;
  }
  return GetCurrentThreadId();
}

void CheckApartments(bool check) {
  std::lock_guard lock(State().mutex);
  State().checkApartments = check;
}

bool CheckingApartments() {
  std::lock_guard lock(State().mutex);
  return State().checkApartments;
}

bool IsApartmentServed(std::uint64_t apartment) {
  std::lock_guard lock(State().mutex);
  return State().servedApartments.count(apartment) != 0;
}

void NoteApartmentServed(std::uint64_t apartment) {
  std::lock_guard lock(State().mutex);
  State().servedApartments.insert(apartment);
}

void NoteServiceOfThread(const std::shared_ptr<SimService>& service) {
  std::lock_guard lock(State().mutex);
  State().serviceOfThread[GetCurrentThreadId()] = service;
}

std::shared_ptr<SimService> ServiceOfThread() {
  std::lock_guard lock(State().mutex);
  const auto found = State().serviceOfThread.find(GetCurrentThreadId());
  return found == State().serviceOfThread.end() ? nullptr : found->second.lock();
}

void RecordComDetail(std::wstring detail) {
  std::lock_guard lock(State().mutex);
  State().details.push_back(std::move(detail));
}

std::vector<std::wstring> ServedComDetails() {
  std::lock_guard lock(State().mutex);
  return State().details;
}

void ClearServedComDetails() {
  std::lock_guard lock(State().mutex);
  State().details.clear();
}

}  // namespace quorvane::sim::com
