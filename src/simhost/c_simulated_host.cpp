// The simulated host's C interface.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "capi/c_errors.h"
#include "capi/c_handles.h"
#include "quorvane/simulated_host_c.h"
#include "simhost/c_root_binding.h"
#include "util/text.h"

using namespace quorvane;
using namespace quorvane::capi;

struct qv_sim_host {
  sim::SimulatedHost object;
  std::string text;
};

struct qv_sim_call_log {
  struct Entry {
    std::string operation, nameSpace, target, method;
    std::vector<std::pair<std::string, std::string>> inputs;
    std::uint64_t clockMs = 0;
  };
  std::vector<Entry> entries;
};

namespace {

// Arguments the C++ host takes as wide strings: null reads as "".
std::wstring Wide(const char* utf8) {
  const WideArgument wide(utf8);
  return wide.get() != nullptr ? wide.get() : L"";
}

// A caller's UTF-8 text checked and kept as it is; null reads as `fallback`.
std::string Utf8OrDefault(const char* utf8, const char* fallback) {
  const WideArgument checked(utf8);
  return checked.get() != nullptr ? utf8 : fallback;
}

sim::SimulatedHost& HostOf(qv_sim_host* host) {
  if (host == nullptr) {
    ThrowNullHandle();
  }
  return host->object;
}

template <typename Make>
qv_status MakeHost(qv_sim_host** out, Make make) noexcept {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    result = new qv_sim_host{make(), {}};
  });
}

template <typename Action>
qv_status OnHost(qv_sim_host* host, Action action) noexcept {
  return RunGuarded([&] { action(HostOf(host)); });
}

// `make` gives an identifier, kept in the handle for the caller when it asks for it.
template <typename Make>
qv_status MakeIdentifier(qv_sim_host* host, const char** outId, Make make) noexcept {
  return RunGuarded([&] {
    if (outId != nullptr) {
      *outId = nullptr;
    }
    std::wstring id = make(HostOf(host));
    if (outId != nullptr) {
      host->text = ToUtf8(id);
      *outId = host->text.c_str();
    }
  });
}

sim::FaultKind FaultKindOf(std::int32_t kind) {
  switch (kind) {
    case QV_SIM_FAULT_WMI_STATUS:
      return sim::FaultKind::WmiStatus;
    case QV_SIM_FAULT_COM_ERROR:
      return sim::FaultKind::ComError;
    case QV_SIM_FAULT_STANDARD_EXCEPTION:
      return sim::FaultKind::StandardException;
    default:
      throw DefaultException(QV_LIBRARY_ERROR, L"Unknown fault kind");
  }
}

const qv_sim_call_log::Entry& EntryOf(qv_sim_call_log* log, std::uint64_t index) {
  if (log == nullptr) {
    ThrowNullHandle();
  }
  if (index >= log->entries.size()) {
    throw DefaultException(QV_LIBRARY_ERROR, L"Call index out of range");
  }
  return log->entries[static_cast<std::size_t>(index)];
}

template <typename Value>
void SetIfWanted(Value* out, Value value) {
  if (out != nullptr) {
    *out = value;
  }
}

}  // namespace

extern "C" {

std::uint32_t qv_sim_last_error_code(void) {
  return ThreadLastError().code;
}

const char* qv_sim_last_error_message(void) {
  return ThreadLastError().message;
}

qv_status qv_sim_host_create(qv_sim_host** out) {
  return MakeHost(out, [] { return sim::SimulatedHost::Create(); });
}

qv_status qv_sim_host_create_default(qv_sim_host** out) {
  return MakeHost(out, [] { return sim::SimulatedHost::Default(); });
}

qv_status qv_sim_host_from_json(const char* json, const char* source_name, qv_sim_host** out) {
  return MakeHost(out, [&] {
    if (json == nullptr) {
      throw DefaultException(QV_LIBRARY_ERROR, L"Scenario text must not be null");
    }
    return sim::SimulatedHost::FromJson(json, Utf8OrDefault(source_name, "json"));
  });
}

qv_status qv_sim_host_load(const char* path, qv_sim_host** out) {
  return MakeHost(
      out, [&] { return sim::SimulatedHost::LoadScenario(std::filesystem::path(Wide(path))); });
}

void qv_sim_host_release(qv_sim_host* host) {
  delete host;
}

qv_status qv_sim_host_to_json(qv_sim_host* host, const char** out) {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    std::string json = HostOf(host).ToJson();
    host->text = std::move(json);
    result = host->text.c_str();
  });
}

qv_status qv_sim_host_save(qv_sim_host* host, const char* path) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.SaveScenario(std::filesystem::path(Wide(path)));
  });
}

qv_status qv_sim_host_fail_method_calls(qv_sim_host* host, const char* class_name,
                                        const char* method, uint32_t return_value, int32_t count) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.FailMethodCalls(Wide(class_name), Wide(method), return_value, count);
  });
}

qv_status qv_sim_host_fail_jobs(qv_sim_host* host, const char* class_name, const char* method,
                                uint16_t error_code, const char* description, int32_t count) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.FailJobs(Wide(class_name), Wide(method), error_code, Wide(description), count);
  });
}

qv_status qv_sim_host_fail_operations(qv_sim_host* host, const char* operation, const char* match,
                                      uint32_t status, int32_t count, int32_t kind) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.FailOperations(Wide(operation), Wide(match), status, count, FaultKindOf(kind));
  });
}

qv_status qv_sim_host_fail_nth_method_call(qv_sim_host* host, const char* class_name,
                                           const char* method, int32_t nth, uint32_t return_value) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.FailNthMethodCall(Wide(class_name), Wide(method), nth, return_value);
  });
}

qv_status qv_sim_host_fail_nth_job(qv_sim_host* host, const char* class_name, const char* method,
                                   int32_t nth, uint16_t error_code, const char* description) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.FailNthJob(Wide(class_name), Wide(method), nth, error_code, Wide(description));
  });
}

qv_status qv_sim_host_fail_nth_operation(qv_sim_host* host, const char* operation,
                                         const char* match, int32_t nth, uint32_t status,
                                         int32_t kind) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.FailNthOperation(Wide(operation), Wide(match), nth, status, FaultKindOf(kind));
  });
}

qv_status qv_sim_host_clear_faults(qv_sim_host* host) {
  return OnHost(host, [](sim::SimulatedHost& object) { object.ClearFaults(); });
}

qv_status qv_sim_host_add_machine(qv_sim_host* host, const char* name, const char* id,
                                  int generation2, uint16_t enabled_state, const char** out_id) {
  return MakeIdentifier(host, out_id, [&](sim::SimulatedHost& object) {
    sim::MachineSpec spec;
    spec.name = Wide(name);
    spec.id = Wide(id);
    spec.generation2 = generation2 != 0;
    spec.enabledState = enabled_state;
    return object.AddMachine(spec);
  });
}

qv_status qv_sim_host_add_snapshot(qv_sim_host* host, const char* machine_id, const char* name,
                                   int recovery, const char** out_id) {
  return MakeIdentifier(host, out_id, [&](sim::SimulatedHost& object) {
    return object.AddSnapshot(Wide(machine_id), Wide(name), recovery != 0);
  });
}

qv_status qv_sim_host_add_switch(qv_sim_host* host, const char* name, const char** out_id) {
  return MakeIdentifier(host, out_id,
                        [&](sim::SimulatedHost& object) { return object.AddSwitch(Wide(name)); });
}

qv_status qv_sim_host_add_disk_file(qv_sim_host* host, const char* path, uint64_t size_bytes,
                                    const char* parent_path, const char** out_id) {
  return MakeIdentifier(host, out_id, [&](sim::SimulatedHost& object) {
    return object.AddDiskFile(Wide(path), size_bytes, Wide(parent_path));
  });
}

qv_status qv_sim_host_attach_disk(qv_sim_host* host, const char* machine_id, const char* path) {
  return OnHost(
      host, [&](sim::SimulatedHost& object) { object.AttachDisk(Wide(machine_id), Wide(path)); });
}

qv_status qv_sim_host_attach_dvd(qv_sim_host* host, const char* machine_id, const char* iso_path) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.AttachDvd(Wide(machine_id), Wide(iso_path));
  });
}

qv_status qv_sim_host_detach_disk(qv_sim_host* host, const char* machine_id, const char* path) {
  return OnHost(
      host, [&](sim::SimulatedHost& object) { object.DetachDisk(Wide(machine_id), Wide(path)); });
}

qv_status qv_sim_host_set_machine_security(qv_sim_host* host, const char* machine_id, int tpm,
                                           int shielding, int encrypt_state) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.SetMachineSecurity(Wide(machine_id), tpm != 0, shielding != 0, encrypt_state != 0);
  });
}

qv_status qv_sim_host_write_to_disk(qv_sim_host* host, const char* path, uint64_t offset,
                                    uint64_t length) {
  return OnHost(
      host, [&](sim::SimulatedHost& object) { object.WriteToDisk(Wide(path), offset, length); });
}

qv_status qv_sim_host_expire_change_tracking(qv_sim_host* host, const char* path) {
  return OnHost(host, [&](sim::SimulatedHost& object) { object.ExpireChangeTracking(Wide(path)); });
}

qv_status qv_sim_host_set_property(qv_sim_host* host, const char* object_path, const char* property,
                                   const char* value) {
  return OnHost(host, [&](sim::SimulatedHost& object) {
    object.SetProperty(Wide(object_path), Wide(property), Wide(value));
  });
}

qv_status qv_sim_host_remove_object(qv_sim_host* host, const char* object_path) {
  return OnHost(host, [&](sim::SimulatedHost& object) { object.RemoveObject(Wide(object_path)); });
}

qv_status qv_sim_host_create_root(qv_sim_host* host, const char* host_name, const char* user,
                                  const char* password, qv_root** out) {
  if (host == nullptr) {
    return RunGuarded([&] {
      OutputOf(out);
      ThrowNullHandle();
    });
  }
  return sim::CreateRootHandle(host->object, host_name, user, password, out);
}

qv_status qv_sim_host_create_factory(qv_sim_host* host, qv_factory** out) {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    result = NewHandle<qv_factory>(HostOf(host).CreateFactory());
  });
}

qv_status qv_sim_host_clock_ms(qv_sim_host* host, uint64_t* out) {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    result = HostOf(host).ClockMs();
  });
}

qv_status qv_sim_host_advance_clock(qv_sim_host* host, uint64_t milliseconds) {
  return OnHost(host, [&](sim::SimulatedHost& object) { object.AdvanceClock(milliseconds); });
}

qv_status qv_sim_host_call_log(qv_sim_host* host, qv_sim_call_log** out) {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    auto log = std::make_unique<qv_sim_call_log>();
    for (const sim::Call& call : HostOf(host).CallLog()) {
      qv_sim_call_log::Entry entry{ToUtf8(call.operation),
                                   ToUtf8(call.nameSpace),
                                   ToUtf8(call.target),
                                   ToUtf8(call.method),
                                   {},
                                   call.clockMs};
      for (const auto& [name, value] : call.inputs) {
        entry.inputs.emplace_back(ToUtf8(name), ToUtf8(value));
      }
      log->entries.push_back(std::move(entry));
    }
    result = log.release();
  });
}

qv_status qv_sim_host_clear_call_log(qv_sim_host* host) {
  return OnHost(host, [](sim::SimulatedHost& object) { object.ClearCallLog(); });
}

void qv_sim_call_log_release(qv_sim_call_log* log) {
  delete log;
}

qv_status qv_sim_call_log_count(qv_sim_call_log* log, uint64_t* out) {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    if (log == nullptr) {
      ThrowNullHandle();
    }
    result = log->entries.size();
  });
}

qv_status qv_sim_call_log_get(qv_sim_call_log* log, uint64_t index, const char** operation,
                              const char** name_space, const char** target, const char** method,
                              uint64_t* clock_ms, uint64_t* input_count) {
  return RunGuarded([&] {
    for (const char** text : {operation, name_space, target, method}) {
      SetIfWanted(text, static_cast<const char*>(nullptr));
    }
    SetIfWanted(clock_ms, std::uint64_t{0});
    SetIfWanted(input_count, std::uint64_t{0});
    const auto& entry = EntryOf(log, index);
    SetIfWanted(operation, entry.operation.c_str());
    SetIfWanted(name_space, entry.nameSpace.c_str());
    SetIfWanted(target, entry.target.c_str());
    SetIfWanted(method, entry.method.c_str());
    SetIfWanted(clock_ms, entry.clockMs);
    SetIfWanted(input_count, static_cast<uint64_t>(entry.inputs.size()));
  });
}

qv_status qv_sim_call_log_input(qv_sim_call_log* log, uint64_t index, uint64_t input,
                                const char** name, const char** value) {
  return RunGuarded([&] {
    SetIfWanted(name, static_cast<const char*>(nullptr));
    SetIfWanted(value, static_cast<const char*>(nullptr));
    const auto& inputs = EntryOf(log, index).inputs;
    if (input >= inputs.size()) {
      throw DefaultException(QV_LIBRARY_ERROR, L"Input index out of range");
    }
    const auto& [inputName, inputValue] = inputs[static_cast<std::size_t>(input)];
    SetIfWanted(name, inputName.c_str());
    SetIfWanted(value, inputValue.c_str());
  });
}

}  // extern "C"
