#ifndef QUORVANE_QUORVANE_C_H
#define QUORVANE_QUORVANE_C_H

/**
 * @file
 * The library's C interface: every operation of the C++ interfaces for hosts built by any
 * compiler and for other languages. It compiles as C99 and as C++.
 *
 * - **Handles.** Each kind of object is an opaque handle made by a `..._create_...` or
 *   `..._get_...` function and given back with its own `..._release` function (null is
 *   ignored). A handle may outlive the handle it came from.
 * - **Results.** Every function but the releases, `qv_version` and the `qv_last_error_...`
 *   readers returns a ::qv_status: 0 on success, otherwise the code the C++ interface's
 *   exception carries (an HRESULT, a Hyper-V return value or job error code, or
 *   0xFFFFFFFF for the library's own failures, non-library exceptions included). A failed call
 *   leaves its outputs null or 0. Nothing crosses this interface as an exception.
 * - **Errors.** After a failed call, the `qv_last_error_...` functions give the failure's code,
 *   message, kind and whether it means a change tracking identifier cannot be used. The record
 *   is the calling thread's own: threads never see each other's failures. Successful calls
 *   leave it as it is, so it can still be read after releasing handles.
 * - **Strings.** Texts are UTF-8 in and out. An input that is not valid UTF-8 fails with
 *   0xFFFFFFFF "Text is not valid UTF-8". A returned string belongs to the handle that returned
 *   it and stays valid as long as the C++ interface's string does: until the handle moves (next
 *   or reset of an enumerator), until the value itself changes (the machine id after a commit,
 *   the last checkpoint after another is taken) or until the handle is released. An accessor
 *   off an enumerator's list gives null, as the C++ one does.
 * - **Threads.** A handle is used by one thread at a time; distinct handles may be used by
 *   distinct threads at once, as the C++ objects may.
 * - **Booleans** are `int`: 0 is false, anything else true; outputs are 0 or 1.
 */

#include <stdint.h>

#include "quorvane/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** 0 on success, otherwise the failure's code. */
typedef uint32_t qv_status;

/** Success. */
#define QV_OK 0u
/** The library's own failures. */
#define QV_LIBRARY_ERROR 0xFFFFFFFFu

/** @name Kinds of failure: the C++ exception type a failure stands for
 *  @{ */
#define QV_ERROR_NONE 0             /**< no failure on this thread yet */
#define QV_ERROR_DEFAULT 1          /**< DefaultException */
#define QV_ERROR_OBJECT_NOT_FOUND 2 /**< ObjectNotFoundException */
#define QV_ERROR_VM_NOT_FOUND 3     /**< VmNotFoundException */
#define QV_ERROR_CANNOT_CONNECT 4   /**< CannotConnectException */
#define QV_ERROR_ACCESS_DENIED 5    /**< AccessDeniedException */
#define QV_ERROR_HYPERV_NOT_FOUND 6 /**< HyperVNotFoundException */
#define QV_ERROR_NOT_LIBRARY 7      /**< not a library exception (out of memory, a standard one) */
/** @} */

/** Makes roots on the real host's WMI (IQuorvaneFactory). */
typedef struct qv_factory qv_factory;
/** The connections to one host (IQuorvane). */
typedef struct qv_root qv_root;
/** The settings of one machine or checkpoint (IMachineInfo). */
typedef struct qv_machine_info qv_machine_info;
/** Machines or checkpoints (IMachineEnumerator). */
typedef struct qv_machine_enumerator qv_machine_enumerator;
/** Disks of a machine or checkpoint (IDiskEnumerator). */
typedef struct qv_disk_enumerator qv_disk_enumerator;
/** The host's virtual switches (IEthernetSwithEnumerator). */
typedef struct qv_switch_enumerator qv_switch_enumerator;
/** Changes to an existing machine (IMachineEditor). */
typedef struct qv_machine_editor qv_machine_editor;
/** A new machine (IMachineBuilder); its editor operations go through qv_machine_builder_editor. */
typedef struct qv_machine_builder qv_machine_builder;
/** Power state, deletion and records (IMachineManagement). */
typedef struct qv_machine_management qv_machine_management;
/** The checkpoints of one machine (ISnapshotManagement). */
typedef struct qv_snapshot_management qv_snapshot_management;
/** Each disk's change tracking identifier of a recovery checkpoint (IChangeEnumerator). */
typedef struct qv_change_enumerator qv_change_enumerator;
/** The changed byte ranges of a disk (IDiskChangeEnumerator). */
typedef struct qv_disk_change_enumerator qv_disk_change_enumerator;

/** @name The calling thread's last failure
 *  @{ */
/** Its code; 0 when the thread has had none. */
QUORVANE_API uint32_t qv_last_error_code(void);
/** Its message, UTF-8; "" when none. Valid until the thread's next failing call. */
QUORVANE_API const char* qv_last_error_message(void);
/** Its kind, one of the QV_ERROR_ values. */
QUORVANE_API int32_t qv_last_error_kind(void);
/** 1 when it means a change tracking identifier cannot be used (IsChangeTrackingUnusable): the
 *  backup then copies the disk whole. */
QUORVANE_API int qv_last_error_change_tracking_unusable(void);
/** @} */

/** The version of the library loaded, "major.minor.patch"; static text. */
QUORVANE_API const char* qv_version(void);

/** @name Entry points
 *  @{ */
/** A factory of roots on the real host's WMI (CreateQuorvaneFactory). */
QUORVANE_API qv_status qv_factory_create(qv_factory** out);
/** A root on the local host (IQuorvaneFactory::CreateLocal). */
QUORVANE_API qv_status qv_factory_create_local(qv_factory* factory, qv_root** out);
/** A root on `host` (IQuorvaneFactory::CreateRemote); any text may be null. */
QUORVANE_API qv_status qv_factory_create_remote(qv_factory* factory, const char* host,
                                                const char* user, const char* password,
                                                qv_root** out);
/** Gives the factory back. */
QUORVANE_API void qv_factory_release(qv_factory* factory);
/** A root on the local host (CreateQuorvaneLocal). */
QUORVANE_API qv_status qv_create_local(qv_root** out);
/** A root on `host` as `user` (CreateQuorvaneRemote); any text may be null. */
QUORVANE_API qv_status qv_create_remote(const char* host, const char* user, const char* password,
                                        qv_root** out);
/** @} */

/** @name Root (IQuorvane)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_root_release(qv_root* root);
/** As IQuorvane::IsRemoteWithCredentials(). */
QUORVANE_API qv_status qv_root_is_remote_with_credentials(qv_root* root, int* out);
/** As IQuorvane::SupportsVersion62(). */
QUORVANE_API qv_status qv_root_supports_version_62(qv_root* root, int* out);
/** As IQuorvane::GetMaxVersion(). */
QUORVANE_API qv_status qv_root_get_max_version(qv_root* root, const char** out);
/** As IQuorvane::CreateMachineBuilder(). */
QUORVANE_API qv_status qv_root_create_machine_builder(qv_root* root, qv_machine_builder** out);
/** As IQuorvane::CreateMachineEditor(). */
QUORVANE_API qv_status qv_root_create_machine_editor(qv_root* root, const char* machine_id,
                                                     qv_machine_editor** out);
/** As IQuorvane::CreateSwitchEnumerator(). */
QUORVANE_API qv_status qv_root_create_switch_enumerator(qv_root* root, qv_switch_enumerator** out);
/** As IQuorvane::CreateMachineManagement(). */
QUORVANE_API qv_status qv_root_create_machine_management(qv_root* root, int read_limits,
                                                         qv_machine_management** out);
/** As IQuorvane::CreateMachineEnumerator(). */
QUORVANE_API qv_status qv_root_create_machine_enumerator(qv_root* root,
                                                         qv_machine_enumerator** out);
/** As IQuorvane::CreateSnapshotManagement(). */
QUORVANE_API qv_status qv_root_create_snapshot_management(qv_root* root, const char* machine_id,
                                                          qv_snapshot_management** out);
/** @} */

/** @name Machine record (IMachineInfo)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_machine_info_release(qv_machine_info* info);
/** As IMachineInfo::GetName(). */
QUORVANE_API qv_status qv_machine_info_get_name(qv_machine_info* info, const char** out);
/** As IMachineInfo::GetMemory(). */
QUORVANE_API qv_status qv_machine_info_get_memory(qv_machine_info* info, int64_t* out);
/** As IMachineInfo::GetProcessorCount(). */
QUORVANE_API qv_status qv_machine_info_get_processor_count(qv_machine_info* info, int64_t* out);
/** As IMachineInfo::GetCreationTime(). */
QUORVANE_API qv_status qv_machine_info_get_creation_time(qv_machine_info* info, int64_t* out);
/** As IMachineInfo::GetVersion(). */
QUORVANE_API qv_status qv_machine_info_get_version(qv_machine_info* info, const char** out);
/** As IMachineInfo::GetConfigurationId(). */
QUORVANE_API qv_status qv_machine_info_get_configuration_id(qv_machine_info* info,
                                                            const char** out);
/** As IMachineInfo::GetParentId(). */
QUORVANE_API qv_status qv_machine_info_get_parent_id(qv_machine_info* info, const char** out);
/** As IMachineInfo::GetId(). */
QUORVANE_API qv_status qv_machine_info_get_id(qv_machine_info* info, const char** out);
/** As IMachineInfo::GetConfigurationDataRoot(). */
QUORVANE_API qv_status qv_machine_info_get_configuration_data_root(qv_machine_info* info,
                                                                   const char** out);
/** As IMachineInfo::GetConfigurationFile(). */
QUORVANE_API qv_status qv_machine_info_get_configuration_file(qv_machine_info* info,
                                                              const char** out);
/** As IMachineInfo::GetGuestStateDataRoot(). */
QUORVANE_API qv_status qv_machine_info_get_guest_state_data_root(qv_machine_info* info,
                                                                 const char** out);
/** As IMachineInfo::GetGuestStateFile(). */
QUORVANE_API qv_status qv_machine_info_get_guest_state_file(qv_machine_info* info,
                                                            const char** out);
/** As IMachineInfo::GetSnapshotDataRoot(). */
QUORVANE_API qv_status qv_machine_info_get_snapshot_data_root(qv_machine_info* info,
                                                              const char** out);
/** As IMachineInfo::IsGeneration2(). */
QUORVANE_API qv_status qv_machine_info_is_generation2(qv_machine_info* info, int* out);
/** As IMachineInfo::IsVersion62OrLater(). */
QUORVANE_API qv_status qv_machine_info_is_version_62_or_later(qv_machine_info* info, int* out);
/** As IMachineInfo::CreateDiskEnumerator(). */
QUORVANE_API qv_status qv_machine_info_create_disk_enumerator(qv_machine_info* info,
                                                              int include_dvd,
                                                              qv_disk_enumerator** out);
/** @} */

/** @name Machines and checkpoints (IMachineEnumerator)
 *  `..._next` sets `*has_entry` to 1 while there is an entry, as Next() returns true.
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_machine_enumerator_release(qv_machine_enumerator* machines);
/** IMachineEnumerator::Reset(): back before the first entry (reading the source again where the C++
 * one does). */
QUORVANE_API qv_status qv_machine_enumerator_reset(qv_machine_enumerator* machines);
/** IMachineEnumerator::Next(): `*has_entry` becomes 1 on an entry, 0 past the last. */
QUORVANE_API qv_status qv_machine_enumerator_next(qv_machine_enumerator* machines, int* has_entry);
/** As IMachineEnumerator::GetName(). */
QUORVANE_API qv_status qv_machine_enumerator_get_name(qv_machine_enumerator* machines,
                                                      const char** out);
/** As IMachineEnumerator::GetCreationTime(). */
QUORVANE_API qv_status qv_machine_enumerator_get_creation_time(qv_machine_enumerator* machines,
                                                               int64_t* out);
/** As IMachineEnumerator::GetId(). */
QUORVANE_API qv_status qv_machine_enumerator_get_id(qv_machine_enumerator* machines,
                                                    const char** out);
/** As IMachineEnumerator::GetParentId(). */
QUORVANE_API qv_status qv_machine_enumerator_get_parent_id(qv_machine_enumerator* machines,
                                                           const char** out);
/** As IMachineEnumerator::GetMachineInfo(). */
QUORVANE_API qv_status qv_machine_enumerator_get_machine_info(qv_machine_enumerator* machines,
                                                              qv_machine_info** out);
/** @} */

/** @name Disks (IDiskEnumerator)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_disk_enumerator_release(qv_disk_enumerator* disks);
/** IDiskEnumerator::Reset(): back before the first entry (reading the source again where the C++
 * one does). */
QUORVANE_API qv_status qv_disk_enumerator_reset(qv_disk_enumerator* disks);
/** IDiskEnumerator::Next(): `*has_entry` becomes 1 on an entry, 0 past the last. */
QUORVANE_API qv_status qv_disk_enumerator_next(qv_disk_enumerator* disks, int* has_entry);
/** As IDiskEnumerator::GetDiskId(). */
QUORVANE_API qv_status qv_disk_enumerator_get_disk_id(qv_disk_enumerator* disks, const char** out);
/** As IDiskEnumerator::GetPath(). */
QUORVANE_API qv_status qv_disk_enumerator_get_path(qv_disk_enumerator* disks, const char** out);
/** As IDiskEnumerator::GetBaseDiskId(). */
QUORVANE_API qv_status qv_disk_enumerator_get_base_disk_id(qv_disk_enumerator* disks,
                                                           const char** out);
/** As IDiskEnumerator::GetBasePath(). */
QUORVANE_API qv_status qv_disk_enumerator_get_base_path(qv_disk_enumerator* disks,
                                                        const char** out);
/** As IDiskEnumerator::GetMaxInternalSize(). */
QUORVANE_API qv_status qv_disk_enumerator_get_max_internal_size(qv_disk_enumerator* disks,
                                                                int64_t* out);
/** As IDiskEnumerator::IsDvd(). */
QUORVANE_API qv_status qv_disk_enumerator_is_dvd(qv_disk_enumerator* disks, uint32_t* out);
/** As IDiskEnumerator::GetFormat(). */
QUORVANE_API qv_status qv_disk_enumerator_get_format(qv_disk_enumerator* disks, uint32_t* out);
/** As IDiskEnumerator::IsOnScsi(). */
QUORVANE_API qv_status qv_disk_enumerator_is_on_scsi(qv_disk_enumerator* disks, int* out);
/** As IDiskEnumerator::GetControllerAddress(). */
QUORVANE_API qv_status qv_disk_enumerator_get_controller_address(qv_disk_enumerator* disks,
                                                                 uint32_t* out);
/** As IDiskEnumerator::GetLocation(). */
QUORVANE_API qv_status qv_disk_enumerator_get_location(qv_disk_enumerator* disks, uint32_t* out);
/** As IDiskEnumerator::GetDiskChangeEnumerator(). */
QUORVANE_API qv_status qv_disk_enumerator_get_disk_change_enumerator(
    qv_disk_enumerator* disks, const char* change_tracking_id, qv_disk_change_enumerator** out);
/** @} */

/** @name Switches (IEthernetSwithEnumerator)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_switch_enumerator_release(qv_switch_enumerator* switches);
/** IEthernetSwithEnumerator::Reset(): back before the first entry (reading the source again where
 * the C++ one does). */
QUORVANE_API qv_status qv_switch_enumerator_reset(qv_switch_enumerator* switches);
/** IEthernetSwithEnumerator::Next(): `*has_entry` becomes 1 on an entry, 0 past the last. */
QUORVANE_API qv_status qv_switch_enumerator_next(qv_switch_enumerator* switches, int* has_entry);
/** As IEthernetSwithEnumerator::GetName(). */
QUORVANE_API qv_status qv_switch_enumerator_get_name(qv_switch_enumerator* switches,
                                                     const char** out);
/** As IEthernetSwithEnumerator::GetId(). */
QUORVANE_API qv_status qv_switch_enumerator_get_id(qv_switch_enumerator* switches,
                                                   const char** out);
/** @} */

/** @name Editing a machine (IMachineEditor)
 *  @{ */
/** Gives an editor back; the editor of a builder (qv_machine_builder_editor) is ignored. */
QUORVANE_API void qv_machine_editor_release(qv_machine_editor* editor);
/** As IMachineEditor::SetName(). */
QUORVANE_API qv_status qv_machine_editor_set_name(qv_machine_editor* editor, const char* name);
/** As IMachineEditor::SetMemorySize(). */
QUORVANE_API qv_status qv_machine_editor_set_memory_size(qv_machine_editor* editor,
                                                         uint64_t megabytes);
/** As IMachineEditor::SetDynamicMemory(). */
QUORVANE_API qv_status qv_machine_editor_set_dynamic_memory(qv_machine_editor* editor, int enabled);
/** As IMachineEditor::SetProcessorCount(). */
QUORVANE_API qv_status qv_machine_editor_set_processor_count(qv_machine_editor* editor,
                                                             uint64_t count);
/** As IMachineEditor::AddNetworkAdapterWithVlan(). */
QUORVANE_API qv_status qv_machine_editor_add_network_adapter_with_vlan(qv_machine_editor* editor,
                                                                       const char* switch_id,
                                                                       uint32_t vlan_id);
/** As IMachineEditor::AddNetworkAdapter(). */
QUORVANE_API qv_status qv_machine_editor_add_network_adapter(qv_machine_editor* editor,
                                                             const char* switch_id);
/** As IMachineEditor::AddDisconnectedNetworkAdapter(). */
QUORVANE_API qv_status
qv_machine_editor_add_disconnected_network_adapter(qv_machine_editor* editor);
/** As IMachineEditor::SetSecureBoot(). */
QUORVANE_API qv_status qv_machine_editor_set_secure_boot(qv_machine_editor* editor, int enabled);
/** As IMachineEditor::SetScsiDataDisks(). */
QUORVANE_API qv_status qv_machine_editor_set_scsi_data_disks(qv_machine_editor* editor,
                                                             int enabled);
/** As IMachineEditor::AddDisk(). */
QUORVANE_API qv_status qv_machine_editor_add_disk(qv_machine_editor* editor, const char* path);
/** As IMachineEditor::Commit(). */
QUORVANE_API qv_status qv_machine_editor_commit(qv_machine_editor* editor);
/** As IMachineEditor::GetMachineId(). */
QUORVANE_API qv_status qv_machine_editor_get_machine_id(qv_machine_editor* editor,
                                                        const char** out);
/** @} */

/** @name Defining a machine (IMachineBuilder)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_machine_builder_release(qv_machine_builder* builder);
/** The builder as an editor, for the operations it shares with one (Commit() among them).
 *  The editor belongs to the builder and lives as long as it. */
QUORVANE_API qv_status qv_machine_builder_editor(qv_machine_builder* builder,
                                                 qv_machine_editor** out);
/** As IMachineBuilder::SetVersion(). */
QUORVANE_API qv_status qv_machine_builder_set_version(qv_machine_builder* builder,
                                                      const char* version);
/** As IMachineBuilder::SetGeneration2(). */
QUORVANE_API qv_status qv_machine_builder_set_generation2(qv_machine_builder* builder, int enabled);
/** As IMachineBuilder::SetConfigurationDataRoot(). */
QUORVANE_API qv_status qv_machine_builder_set_configuration_data_root(qv_machine_builder* builder,
                                                                      const char* path);
/** As IMachineBuilder::SetSnapshotDataRoot(). */
QUORVANE_API qv_status qv_machine_builder_set_snapshot_data_root(qv_machine_builder* builder,
                                                                 const char* path);
/** @} */

/** @name Power state, deletion and records (IMachineManagement)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_machine_management_release(qv_machine_management* management);
/** As IMachineManagement::Start(). */
QUORVANE_API qv_status qv_machine_management_start(qv_machine_management* management,
                                                   const char* machine_id);
/** As IMachineManagement::PowerOff(). */
QUORVANE_API qv_status qv_machine_management_power_off(qv_machine_management* management,
                                                       const char* machine_id);
/** As IMachineManagement::Save(). */
QUORVANE_API qv_status qv_machine_management_save(qv_machine_management* management,
                                                  const char* machine_id);
/** As IMachineManagement::DeleteMachine(). */
QUORVANE_API qv_status qv_machine_management_delete_machine(qv_machine_management* management,
                                                            const char* machine_id);
/** As IMachineManagement::GetEnabledState(). */
QUORVANE_API qv_status qv_machine_management_get_enabled_state(qv_machine_management* management,
                                                               const char* machine_id,
                                                               uint32_t* out);
/** As IMachineManagement::GetOperationalStatus(). */
QUORVANE_API qv_status qv_machine_management_get_operational_status(
    qv_machine_management* management, const char* machine_id, uint32_t* out);
/** As IMachineManagement::GetMachineInfo(). */
QUORVANE_API qv_status qv_machine_management_get_machine_info(qv_machine_management* management,
                                                              const char* configuration_id,
                                                              qv_machine_info** out);
/** As IMachineManagement::GetDefaultExternalDataRoot(). */
QUORVANE_API qv_status qv_machine_management_get_default_external_data_root(
    qv_machine_management* management, const char** out);
/** As IMachineManagement::GetDefaultVirtualHardDiskPath(). */
QUORVANE_API qv_status qv_machine_management_get_default_virtual_hard_disk_path(
    qv_machine_management* management, const char** out);
/** As IMachineManagement::GetMinimumProcessorCount(). */
QUORVANE_API qv_status
qv_machine_management_get_minimum_processor_count(qv_machine_management* management, uint64_t* out);
/** As IMachineManagement::GetMaximumProcessorCount(). */
QUORVANE_API qv_status
qv_machine_management_get_maximum_processor_count(qv_machine_management* management, uint64_t* out);
/** As IMachineManagement::GetMinimumMemory(). */
QUORVANE_API qv_status qv_machine_management_get_minimum_memory(qv_machine_management* management,
                                                                uint64_t* out);
/** As IMachineManagement::GetMaximumMemory(). */
QUORVANE_API qv_status qv_machine_management_get_maximum_memory(qv_machine_management* management,
                                                                uint64_t* out);
/** As IMachineManagement::GetMemoryIncrement(). */
QUORVANE_API qv_status qv_machine_management_get_memory_increment(qv_machine_management* management,
                                                                  uint64_t* out);
/** @} */

/** @name Checkpoints (ISnapshotManagement)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_snapshot_management_release(qv_snapshot_management* snapshots);
/** As ISnapshotManagement::CreateStandardSnapshot(). */
QUORVANE_API qv_status
qv_snapshot_management_create_standard_snapshot(qv_snapshot_management* snapshots);
/** `application_consistent_failed` may be null; `consistency_level` receives 1 or 2. */
QUORVANE_API qv_status qv_snapshot_management_create_recovery_snapshot(
    qv_snapshot_management* snapshots, int allow_fallback, int* application_consistent_failed,
    int32_t* consistency_level);
/** As ISnapshotManagement::IsRecoverySnapshot(). */
QUORVANE_API qv_status qv_snapshot_management_is_recovery_snapshot(
    qv_snapshot_management* snapshots, const char* snapshot_id, int* out);
/** As ISnapshotManagement::ApplySnapshot(). */
QUORVANE_API qv_status qv_snapshot_management_apply_snapshot(qv_snapshot_management* snapshots,
                                                             const char* snapshot_id);
/** As ISnapshotManagement::DestroySnapshot(). */
QUORVANE_API qv_status qv_snapshot_management_destroy_snapshot(qv_snapshot_management* snapshots,
                                                               const char* snapshot_id,
                                                               int with_subtree);
/** As ISnapshotManagement::RenameSnapshot(). */
QUORVANE_API qv_status qv_snapshot_management_rename_snapshot(qv_snapshot_management* snapshots,
                                                              const char* snapshot_id,
                                                              const char* name);
/** As ISnapshotManagement::GetLastSnapshotId(). */
QUORVANE_API qv_status
qv_snapshot_management_get_last_snapshot_id(qv_snapshot_management* snapshots, const char** out);
/** As ISnapshotManagement::GetSnapshotInfo(). */
QUORVANE_API qv_status qv_snapshot_management_get_snapshot_info(qv_snapshot_management* snapshots,
                                                                const char* snapshot_id,
                                                                qv_machine_info** out);
/** As ISnapshotManagement::EnumerateSnapshots(). */
QUORVANE_API qv_status qv_snapshot_management_enumerate_snapshots(qv_snapshot_management* snapshots,
                                                                  qv_machine_enumerator** out);
/** As ISnapshotManagement::GetChangeEnumerator(). */
QUORVANE_API qv_status qv_snapshot_management_get_change_enumerator(
    qv_snapshot_management* snapshots, const char* snapshot_id, qv_change_enumerator** out);
/** As ISnapshotManagement::CreateSnapshotOfType(). */
QUORVANE_API qv_status qv_snapshot_management_create_snapshot_of_type(
    qv_snapshot_management* snapshots, uint32_t snapshot_type, uint32_t consistency_level);
/** @} */

/** @name Change tracking identifiers (IChangeEnumerator)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_change_enumerator_release(qv_change_enumerator* changes);
/** IChangeEnumerator::Reset(): back before the first entry (reading the source again where the C++
 * one does). */
QUORVANE_API qv_status qv_change_enumerator_reset(qv_change_enumerator* changes);
/** IChangeEnumerator::Next(): `*has_entry` becomes 1 on an entry, 0 past the last. */
QUORVANE_API qv_status qv_change_enumerator_next(qv_change_enumerator* changes, int* has_entry);
/** As IChangeEnumerator::GetDiskId(). */
QUORVANE_API qv_status qv_change_enumerator_get_disk_id(qv_change_enumerator* changes,
                                                        const char** out);
/** As IChangeEnumerator::GetChangeTrackingId(). */
QUORVANE_API qv_status qv_change_enumerator_get_change_tracking_id(qv_change_enumerator* changes,
                                                                   const char** out);
/** @} */

/** @name Changed byte ranges (IDiskChangeEnumerator)
 *  @{ */
/** Gives the handle back; null is ignored. Strings it returned are invalid from then on. */
QUORVANE_API void qv_disk_change_enumerator_release(qv_disk_change_enumerator* ranges);
/** IDiskChangeEnumerator::Reset(): back before the first entry (reading the source again where the
 * C++ one does). */
QUORVANE_API qv_status qv_disk_change_enumerator_reset(qv_disk_change_enumerator* ranges);
/** IDiskChangeEnumerator::Next(): `*has_entry` becomes 1 on an entry, 0 past the last. */
QUORVANE_API qv_status qv_disk_change_enumerator_next(qv_disk_change_enumerator* ranges,
                                                      int* has_entry);
/** As IDiskChangeEnumerator::GetOffset(). */
QUORVANE_API qv_status qv_disk_change_enumerator_get_offset(qv_disk_change_enumerator* ranges,
                                                            uint64_t* out);
/** As IDiskChangeEnumerator::GetLength(). */
QUORVANE_API qv_status qv_disk_change_enumerator_get_length(qv_disk_change_enumerator* ranges,
                                                            uint64_t* out);
/** @} */

#ifdef __cplusplus
}
#endif

#endif /* QUORVANE_QUORVANE_C_H */
