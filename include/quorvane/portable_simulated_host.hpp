#pragma once

/// @file
/// The simulated host in the header-only C++ layer (quorvane/portable.hpp), over its C
/// interface: for a host application's tests built with any compiler.

#include "quorvane/portable.hpp"
#include "quorvane/simulated_host_c.h"

namespace quorvane::portable {

/// Throws Error for a failed call of the simulated host's C interface.
inline void CheckSimulated(qv_status status) {
  if (status != QV_OK) {
    throw Error(status, QV_ERROR_DEFAULT, qv_sim_last_error_message());
  }
}

/// One simulated host (quorvane::sim::SimulatedHost). Identifiers it returns stay valid until
/// its next call that returns one.
class SimulatedHost {
 public:
  explicit SimulatedHost(qv_sim_host* raw) : handle_(raw) {}
  /// A host with its management services and nothing else.
  static SimulatedHost Create() { return Made(qv_sim_host_create); }
  /// The shipped default scenario.
  static SimulatedHost Default() { return Made(qv_sim_host_create_default); }
  /// A host from scenario JSON; `sourceName` names it in messages.
  static SimulatedHost FromJson(const char* json, const char* sourceName) {
    qv_sim_host* raw = nullptr;
    CheckSimulated(qv_sim_host_from_json(json, sourceName, &raw));
    return SimulatedHost(raw);
  }
  /// A host from a scenario file.
  static SimulatedHost LoadScenario(const char* path) {
    qv_sim_host* raw = nullptr;
    CheckSimulated(qv_sim_host_load(path, &raw));
    return SimulatedHost(raw);
  }

  void SaveScenario(const char* path) { CheckSimulated(qv_sim_host_save(handle_.get(), path)); }
  const char* ToJson() {
    const char* json = nullptr;
    CheckSimulated(qv_sim_host_to_json(handle_.get(), &json));
    return json;
  }
  /// A machine; `enabledState` 2 running, 3 off. Returns its identifier.
  const char* AddMachine(const char* name, bool generation2 = true, uint16_t enabledState = 3) {
    const char* id = nullptr;
    CheckSimulated(qv_sim_host_add_machine(handle_.get(), name, nullptr, generation2 ? 1 : 0,
                                           enabledState, &id));
    return id;
  }
  const char* AddSnapshot(const char* machineId, const char* name = "", bool recovery = false) {
    const char* id = nullptr;
    CheckSimulated(qv_sim_host_add_snapshot(handle_.get(), machineId, name, recovery ? 1 : 0, &id));
    return id;
  }
  const char* AddSwitch(const char* name) {
    const char* id = nullptr;
    CheckSimulated(qv_sim_host_add_switch(handle_.get(), name, &id));
    return id;
  }
  const char* AddDiskFile(const char* path, uint64_t sizeBytes, const char* parentPath = nullptr) {
    const char* id = nullptr;
    CheckSimulated(qv_sim_host_add_disk_file(handle_.get(), path, sizeBytes, parentPath, &id));
    return id;
  }
  void AttachDisk(const char* machineId, const char* path) {
    CheckSimulated(qv_sim_host_attach_disk(handle_.get(), machineId, path));
  }
  void AttachDvd(const char* machineId, const char* isoPath) {
    CheckSimulated(qv_sim_host_attach_dvd(handle_.get(), machineId, isoPath));
  }
  void WriteToDisk(const char* path, uint64_t offset, uint64_t length) {
    CheckSimulated(qv_sim_host_write_to_disk(handle_.get(), path, offset, length));
  }
  void ExpireChangeTracking(const char* path) {
    CheckSimulated(qv_sim_host_expire_change_tracking(handle_.get(), path));
  }
  void FailMethodCalls(const char* className, const char* method, uint32_t returnValue,
                       int32_t count = 1) {
    CheckSimulated(
        qv_sim_host_fail_method_calls(handle_.get(), className, method, returnValue, count));
  }
  void FailJobs(const char* className, const char* method, uint16_t errorCode,
                const char* description, int32_t count = 1) {
    CheckSimulated(
        qv_sim_host_fail_jobs(handle_.get(), className, method, errorCode, description, count));
  }
  void FailOperations(const char* operation, const char* match, uint32_t status, int32_t count = 1,
                      int32_t kind = QV_SIM_FAULT_WMI_STATUS) {
    CheckSimulated(
        qv_sim_host_fail_operations(handle_.get(), operation, match, status, count, kind));
  }
  void ClearFaults() { CheckSimulated(qv_sim_host_clear_faults(handle_.get())); }
  /// A root bound to this host (the local host when `host` is null).
  Quorvane CreateQuorvane(const char* host = nullptr, const char* user = nullptr,
                          const char* password = nullptr) {
    qv_root* raw = nullptr;
    CheckSimulated(qv_sim_host_create_root(handle_.get(), host, user, password, &raw));
    return Quorvane(raw);
  }
  uint64_t ClockMs() {
    uint64_t clock = 0;
    CheckSimulated(qv_sim_host_clock_ms(handle_.get(), &clock));
    return clock;
  }
  void AdvanceClock(uint64_t milliseconds) {
    CheckSimulated(qv_sim_host_advance_clock(handle_.get(), milliseconds));
  }
  void ClearCallLog() { CheckSimulated(qv_sim_host_clear_call_log(handle_.get())); }
  /// How many calls the host received since its log was last cleared.
  uint64_t CallCount() {
    Handle<qv_sim_call_log, qv_sim_call_log_release> log;
    qv_sim_call_log* raw = nullptr;
    CheckSimulated(qv_sim_host_call_log(handle_.get(), &raw));
    log.reset(raw);
    uint64_t count = 0;
    CheckSimulated(qv_sim_call_log_count(log.get(), &count));
    return count;
  }
  /// The handle, for code that calls the C interface itself.
  qv_sim_host* get() const { return handle_.get(); }

 private:
  static SimulatedHost Made(qv_status (*make)(qv_sim_host**)) {
    qv_sim_host* raw = nullptr;
    CheckSimulated(make(&raw));
    return SimulatedHost(raw);
  }

  Handle<qv_sim_host, qv_sim_host_release> handle_;
};

}  // namespace quorvane::portable
