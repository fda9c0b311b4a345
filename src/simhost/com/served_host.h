#pragma once

// What this process serves over COM: the simulated host that WMI connections reach, and a
// record of the COM-level details the library passes (security blankets, context values,
// flags) that the host's call log does not show.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "quorvane/export.h"

namespace quorvane::sim {
class HostCore;
class SimService;
}  // namespace quorvane::sim

namespace quorvane::sim::com {

// The host that new WMI connections of this process reach; none before the first Serve.
// COM finds a server by class identifier alone, so which host answers is process-wide.
void Serve(std::shared_ptr<HostCore> host);
std::shared_ptr<HostCore> ServedHost();

// The served host; when none was served and QUORVANE_SCENARIO names a scenario file, the host
// that file holds, served from now on. Null without either; raises when the file cannot be
// loaded.
std::shared_ptr<HostCore> ServedHostOrScenario();
// After each served call: a scenario's host moves its clock on by one step (a client of its own
// waits on the wall clock, which the host does not follow) and is written back to its file, so
// that the next process goes on from there. Nothing for a host served otherwise.
void ScenarioCallServed();

// The apartment of the calling thread: one for all multithreaded threads, its thread for a
// single-threaded one.
std::uint64_t ApartmentOfThread();

// For tests: served connections behave as the proxies of an out-of-process WMI do, usable only
// in the apartments that obtained them (the one that connected, and those that fetched them
// through COM, as from the global interface table); a call from any other fails with
// RPC_E_WRONG_THREAD. Off by default.
QUORVANE_API void CheckApartments(bool check);
bool CheckingApartments();

// The apartments where the served classes are registered with COM (ServeInProcess).
bool IsApartmentServed(std::uint64_t apartment);
void NoteApartmentServed(std::uint64_t apartment);

// Served calls remember their service per thread, so that a wait on that thread advances the
// right host's clock.
void NoteServiceOfThread(const std::shared_ptr<SimService>& service);
std::shared_ptr<SimService> ServiceOfThread();

void RecordComDetail(std::wstring detail);

// For tests: what the library passed at the COM level, in order, since the last clear.
QUORVANE_API std::vector<std::wstring> ServedComDetails();
QUORVANE_API void ClearServedComDetails();

}  // namespace quorvane::sim::com
