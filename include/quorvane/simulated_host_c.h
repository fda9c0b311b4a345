#ifndef QUORVANE_SIMULATED_HOST_C_H
#define QUORVANE_SIMULATED_HOST_C_H

/**
 * @file
 * The simulated Hyper-V host through a C interface, for a host application's tests written in C
 * or another language: make a host or load a scenario, change it, script failures, move its
 * clock, bind roots to it and read what it received. It compiles as C99 and as C++.
 *
 * The rules of quorvane_c.h hold: opaque handles with their release functions, a ::qv_status
 * from every call, UTF-8 texts. A failure of these functions is read with the
 * `qv_sim_last_error_...` functions (the calling thread's own record, left as it is by
 * successful calls). A string a host handle returns stays valid until the next call on that
 * handle that returns a string, or until the handle is released; a call log's strings live as
 * long as the log. A host handle is used by one thread at a time; the roots bound to it follow
 * the library's own rules.
 */

#include <stdint.h>

#include "quorvane/export.h"
#include "quorvane/quorvane_c.h"

#ifdef __cplusplus
extern "C" {
#endif

/** One simulated host (quorvane::sim::SimulatedHost). */
typedef struct qv_sim_host qv_sim_host;
/** The calls a host had received when the log was taken, in order. */
typedef struct qv_sim_call_log qv_sim_call_log;

/** @name How a scripted operation failure raises (quorvane::sim::FaultKind)
 *  @{ */
#define QV_SIM_FAULT_WMI_STATUS 0         /**< the library exception WMI's status maps to */
#define QV_SIM_FAULT_COM_ERROR 1          /**< a COM failure outside WMI */
#define QV_SIM_FAULT_STANDARD_EXCEPTION 2 /**< a standard library exception */
/** @} */

/** @name The calling thread's last failure of these functions
 *  @{ */
/** Its code; 0 when the thread has had none. */
QUORVANE_API uint32_t qv_sim_last_error_code(void);
/** Its message, UTF-8; "" when none. Valid until the thread's next failing call. */
QUORVANE_API const char* qv_sim_last_error_message(void);
/** @} */

/** @name Making and keeping hosts
 *  @{ */
/** A host with its management services and nothing else (SimulatedHost::Create). */
QUORVANE_API qv_status qv_sim_host_create(qv_sim_host** out);
/** The shipped default scenario (SimulatedHost::Default). */
QUORVANE_API qv_status qv_sim_host_create_default(qv_sim_host** out);
/** A host from scenario JSON; `source_name` (may be null) names it in messages. */
QUORVANE_API qv_status qv_sim_host_from_json(const char* json, const char* source_name,
                                             qv_sim_host** out);
/** A host from a scenario file (SimulatedHost::LoadScenario). */
QUORVANE_API qv_status qv_sim_host_load(const char* path, qv_sim_host** out);
/** Gives the handle back; roots bound to the host keep it alive. */
QUORVANE_API void qv_sim_host_release(qv_sim_host* host);
/** The whole host as a saved scenario (SimulatedHost::ToJson). */
QUORVANE_API qv_status qv_sim_host_to_json(qv_sim_host* host, const char** out);
/** Writes the saved scenario to `path` (SimulatedHost::SaveScenario). */
QUORVANE_API qv_status qv_sim_host_save(qv_sim_host* host, const char* path);
/** @} */

/** @name Scripted failures
 *  A negative count means every call from now on.
 *  @{ */
/** The next `count` calls of the method return `return_value` and change nothing
 * (SimulatedHost::FailMethodCalls). */
QUORVANE_API qv_status qv_sim_host_fail_method_calls(qv_sim_host* host, const char* class_name,
                                                     const char* method, uint32_t return_value,
                                                     int32_t count);
/** The next `count` jobs the method starts end in state 10 with `error_code` (0: Hyper-V's own for
 * that operation) and `description` (SimulatedHost::FailJobs). */
QUORVANE_API qv_status qv_sim_host_fail_jobs(qv_sim_host* host, const char* class_name,
                                             const char* method, uint16_t error_code,
                                             const char* description, int32_t count);
/** `kind` is one of the QV_SIM_FAULT_ values. */
QUORVANE_API qv_status qv_sim_host_fail_operations(qv_sim_host* host, const char* operation,
                                                   const char* match, uint32_t status,
                                                   int32_t count, int32_t kind);
/** Only the `nth` matching method call from now on fails (SimulatedHost::FailNthMethodCall). */
QUORVANE_API qv_status qv_sim_host_fail_nth_method_call(qv_sim_host* host, const char* class_name,
                                                        const char* method, int32_t nth,
                                                        uint32_t return_value);
/** Only the `nth` job of the method fails (SimulatedHost::FailNthJob). */
QUORVANE_API qv_status qv_sim_host_fail_nth_job(qv_sim_host* host, const char* class_name,
                                                const char* method, int32_t nth,
                                                uint16_t error_code, const char* description);
/** Only the `nth` matching operation fails (SimulatedHost::FailNthOperation). */
QUORVANE_API qv_status qv_sim_host_fail_nth_operation(qv_sim_host* host, const char* operation,
                                                      const char* match, int32_t nth,
                                                      uint32_t status, int32_t kind);
/** Forgets every scripted failure that has not happened yet. */
QUORVANE_API qv_status qv_sim_host_clear_faults(qv_sim_host* host);
/** @} */

/** @name Building the host
 *  Identifiers come back in `out_id`, which may be null.
 *  @{ */
/** A machine named `name`; `id` may be null for a new GUID. `enabled_state`: 2 running, 3 off,
 *  6 saved, 9 paused. Other settings take MachineSpec's defaults. */
QUORVANE_API qv_status qv_sim_host_add_machine(qv_sim_host* host, const char* name, const char* id,
                                               int generation2, uint16_t enabled_state,
                                               const char** out_id);
/** A checkpoint of the machine; a null or empty name takes Hyper-V's own. */
QUORVANE_API qv_status qv_sim_host_add_snapshot(qv_sim_host* host, const char* machine_id,
                                                const char* name, int recovery,
                                                const char** out_id);
/** A virtual Ethernet switch named `name`; `out_id` gets its identifier. */
QUORVANE_API qv_status qv_sim_host_add_switch(qv_sim_host* host, const char* name,
                                              const char** out_id);
/** A disk file, differencing when `parent_path` is not null or empty; `out_id` gets its
 *  "VirtualDiskId". */
QUORVANE_API qv_status qv_sim_host_add_disk_file(qv_sim_host* host, const char* path,
                                                 uint64_t size_bytes, const char* parent_path,
                                                 const char** out_id);
/** Attaches a disk file to the machine at the next free place (SimulatedHost::AttachDisk). */
QUORVANE_API qv_status qv_sim_host_attach_disk(qv_sim_host* host, const char* machine_id,
                                               const char* path);
/** Puts the ISO image in a new DVD drive of the machine. */
QUORVANE_API qv_status qv_sim_host_attach_dvd(qv_sim_host* host, const char* machine_id,
                                              const char* iso_path);
/** Takes the disk off the machine (SimulatedHost::DetachDisk). */
QUORVANE_API qv_status qv_sim_host_detach_disk(qv_sim_host* host, const char* machine_id,
                                               const char* path);
/** The machine's TPM, shielding and state encryption. */
QUORVANE_API qv_status qv_sim_host_set_machine_security(qv_sim_host* host, const char* machine_id,
                                                        int tpm, int shielding, int encrypt_state);
/** A guest write to the disk (SimulatedHost::WriteToDisk). */
QUORVANE_API qv_status qv_sim_host_write_to_disk(qv_sim_host* host, const char* path,
                                                 uint64_t offset, uint64_t length);
/** Makes every change tracking identifier of the disk's chain issued so far unknown. */
QUORVANE_API qv_status qv_sim_host_expire_change_tracking(qv_sim_host* host, const char* path);
/** Sets one property of the object at `object_path` from its text ("3", "TRUE", "Text"). */
QUORVANE_API qv_status qv_sim_host_set_property(qv_sim_host* host, const char* object_path,
                                                const char* property, const char* value);
/** Removes the object at `object_path` and every association that refers to it. */
QUORVANE_API qv_status qv_sim_host_remove_object(qv_sim_host* host, const char* object_path);
/** @} */

/** @name Binding the library
 *  @{ */
/** A root bound to this host, as qv_create_remote binds one to a real host (the local host when
 *  `host_name` is null or empty). Release it with qv_root_release. */
QUORVANE_API qv_status qv_sim_host_create_root(qv_sim_host* host, const char* host_name,
                                               const char* user, const char* password,
                                               qv_root** out);
/** A factory whose roots are bound to this host. Release it with qv_factory_release. */
QUORVANE_API qv_status qv_sim_host_create_factory(qv_sim_host* host, qv_factory** out);
/** @} */

/** @name Clock and call log
 *  @{ */
/** The host's clock, in milliseconds. */
QUORVANE_API qv_status qv_sim_host_clock_ms(qv_sim_host* host, uint64_t* out);
/** Moves the clock on: jobs and merges due by then end. */
QUORVANE_API qv_status qv_sim_host_advance_clock(qv_sim_host* host, uint64_t milliseconds);
/** The calls received so far. */
QUORVANE_API qv_status qv_sim_host_call_log(qv_sim_host* host, qv_sim_call_log** out);
/** Empties the call log. */
QUORVANE_API qv_status qv_sim_host_clear_call_log(qv_sim_host* host);
/** Gives the log back; its strings are invalid from then on. */
QUORVANE_API void qv_sim_call_log_release(qv_sim_call_log* log);
/** How many calls the log holds. */
QUORVANE_API qv_status qv_sim_call_log_count(qv_sim_call_log* log, uint64_t* out);
/** The call at `index`: any output may be null. `method` is "" for other operations than
 *  "ExecMethod". */
QUORVANE_API qv_status qv_sim_call_log_get(qv_sim_call_log* log, uint64_t index,
                                           const char** operation, const char** name_space,
                                           const char** target, const char** method,
                                           uint64_t* clock_ms, uint64_t* input_count);
/** The call's input at `input`, by name and rendered value. */
QUORVANE_API qv_status qv_sim_call_log_input(qv_sim_call_log* log, uint64_t index, uint64_t input,
                                             const char** name, const char** value);
/** @} */

#ifdef __cplusplus
}
#endif

#endif /* QUORVANE_SIMULATED_HOST_C_H */
