#include "simhost/com/served_host.h"

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
};

ServedState& State() {
  static ServedState state;
  return state;
}

thread_local std::weak_ptr<SimService> serviceOfThread;

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
  serviceOfThread = service;
}

std::shared_ptr<SimService> ServiceOfThread() {
  return serviceOfThread.lock();
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
