#include "simhost/com/served_host.h"

#include "platform/windows_api.h"

#include <map>
#include <mutex>

#include "simhost/host_core.h"
#include "simhost/sim_wmi.h"

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
};

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
