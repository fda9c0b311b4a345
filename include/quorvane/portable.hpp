#pragma once

/// @file
/// A header-only C++ layer over the C interface, compiled by the host's own compiler: owning
/// handles, exceptions of that compiler carrying the library's code and message, and
/// enumerators usable in range-for. A host built with Microsoft's compiler or clang-cl writes
/// code like a MinGW host does against the C++ interfaces, with UTF-8 strings instead of wide
/// ones. It needs no C++ standard library, so that it builds wherever a C++ compiler and a C
/// runtime are found.

#include <string.h>

#include "quorvane/quorvane_c.h"

namespace quorvane::portable {

/// A failure of the library, as the C interface reports it. Catch it by reference.
class Error {
 public:
  /// The longest message kept, in bytes, with its terminating zero.
  static constexpr unsigned kMessageCapacity = 8192;

  /// The failure just recorded for the calling thread.
  explicit Error(qv_status code)
      : code_(code),
        kind_(qv_last_error_kind()),
        changeTrackingUnusable_(qv_last_error_change_tracking_unusable() != 0) {
    SetMessage(qv_last_error_message());
  }
  /// A failure with this code and message, such as one the simulated host recorded.
  Error(qv_status code, int32_t kind, const char* message)
      : code_(code), kind_(kind), changeTrackingUnusable_(false) {
    SetMessage(message);
  }

  /// The code: an HRESULT, a Hyper-V return value or job error code, or 0xFFFFFFFF.
  qv_status GetErrorCode() const { return code_; }
  /// The message, UTF-8; valid while the exception lives.
  const char* GetMessageDescription() const { return message_; }
  /// One of the QV_ERROR_ kinds.
  int32_t GetKind() const { return kind_; }
  /// Whether the failure means a change tracking identifier cannot be used.
  bool IsChangeTrackingUnusable() const { return changeTrackingUnusable_; }

 private:
  void SetMessage(const char* message) {
    const char* text = message != nullptr ? message : "";
    size_t length = strlen(text);
    if (length >= kMessageCapacity) {
      length = kMessageCapacity - 1;
    }
    memcpy(message_, text, length);
    message_[length] = '\0';
  }

  qv_status code_;
  int32_t kind_;
  bool changeTrackingUnusable_;
  char message_[kMessageCapacity];
};

/// An object the library looked for does not exist.
class ObjectNotFoundError : public Error {
 public:
  using Error::Error;
};
/// The machine named does not exist.
class VmNotFoundError : public ObjectNotFoundError {
 public:
  using ObjectNotFoundError::ObjectNotFoundError;
};
/// The remote host's RPC server is unavailable.
class CannotConnectError : public Error {
 public:
  using Error::Error;
};
/// Access denied.
class AccessDeniedError : public Error {
 public:
  using Error::Error;
};
/// The host has no Hyper-V namespace.
class HyperVNotFoundError : public Error {
 public:
  using Error::Error;
};

/// Throws the exception that stands for the calling thread's last failure when `status` is not
/// 0.
inline void Check(qv_status status) {
  if (status == QV_OK) {
    return;
  }
  switch (qv_last_error_kind()) {
    case QV_ERROR_OBJECT_NOT_FOUND:
      throw ObjectNotFoundError(status);
    case QV_ERROR_VM_NOT_FOUND:
      throw VmNotFoundError(status);
    case QV_ERROR_CANNOT_CONNECT:
      throw CannotConnectError(status);
    case QV_ERROR_ACCESS_DENIED:
      throw AccessDeniedError(status);
    case QV_ERROR_HYPERV_NOT_FOUND:
      throw HyperVNotFoundError(status);
    default:
      throw Error(status);
  }
}

/// Owns one handle of the C interface and releases it; moves, never copies.
template <typename Raw, void (*ReleaseRaw)(Raw*)>
class Handle {
 public:
  Handle() = default;
  /// Takes ownership of `raw` (null stays null).
  explicit Handle(Raw* raw) : raw_(raw) {}
  Handle(Handle&& other) noexcept : raw_(other.release()) {}
  Handle& operator=(Handle&& other) noexcept {
    if (this != &other) {
      reset(other.release());
    }
    return *this;
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { reset(); }

  /// The handle, still owned.
  Raw* get() const { return raw_; }
  /// Gives ownership away: the caller releases what this returns.
  Raw* release() {
    Raw* raw = raw_;
    raw_ = nullptr;
    return raw;
  }
  /// Releases the handle held and holds `raw` instead.
  void reset(Raw* raw = nullptr) {
    if (raw_ != nullptr) {
      ReleaseRaw(raw_);
    }
    raw_ = raw;
  }
  /// Whether a handle is held.
  explicit operator bool() const { return raw_ != nullptr; }

 private:
  Raw* raw_ = nullptr;
};

namespace detail {

template <typename T>
struct Same {
  using type = T;
};

// The value a C accessor puts in its output, or the exception for its failure.
template <typename Value, typename Raw>
Value Get(qv_status (*function)(Raw*, Value*), Raw* raw) {
  Value value{};
  Check(function(raw, &value));
  return value;
}

template <typename Value, typename Raw, typename Arg>
Value Get(qv_status (*function)(Raw*, Arg, Value*), Raw* raw, typename Same<Arg>::type arg) {
  Value value{};
  Check(function(raw, arg, &value));
  return value;
}

template <typename Raw>
bool Flag(qv_status (*function)(Raw*, int*), Raw* raw) {
  return Get(function, raw) != 0;
}

template <typename Raw, typename Arg>
bool Flag(qv_status (*function)(Raw*, Arg, int*), Raw* raw, typename Same<Arg>::type arg) {
  return Get(function, raw, arg) != 0;
}

// What an enumerator yields in range-for: the enumerator itself, standing on each entry.
template <typename Enumerator>
class Cursor {
 public:
  explicit Cursor(Enumerator* enumerator) : enumerator_(enumerator) { Advance(); }
  Enumerator& operator*() const { return *enumerator_; }
  Cursor& operator++() {
    Advance();
    return *this;
  }
  bool operator!=(const Cursor& other) const { return enumerator_ != other.enumerator_; }

 private:
  void Advance() {
    if (enumerator_ != nullptr && !enumerator_->Next()) {
      enumerator_ = nullptr;
    }
  }
  Enumerator* enumerator_;
};

}  // namespace detail

/// Range-for support: `for (auto& entry : enumerator)` walks on from the cursor, the loop
/// variable being the enumerator standing on each entry.
#define QUORVANE_PORTABLE_RANGE(Type)     \
  detail::Cursor<Type> begin() {          \
    return detail::Cursor<Type>(this);    \
  }                                       \
  detail::Cursor<Type> end() {            \
    return detail::Cursor<Type>(nullptr); \
  }

/// The changed byte ranges of a disk (IDiskChangeEnumerator).
class DiskChangeEnumerator {
 public:
  explicit DiskChangeEnumerator(qv_disk_change_enumerator* raw) : handle_(raw) {}
  void Reset() { Check(qv_disk_change_enumerator_reset(handle_.get())); }
  bool Next() { return detail::Flag(qv_disk_change_enumerator_next, handle_.get()); }
  uint64_t GetOffset() { return detail::Get(qv_disk_change_enumerator_get_offset, handle_.get()); }
  uint64_t GetLength() { return detail::Get(qv_disk_change_enumerator_get_length, handle_.get()); }
  QUORVANE_PORTABLE_RANGE(DiskChangeEnumerator)

 private:
  Handle<qv_disk_change_enumerator, qv_disk_change_enumerator_release> handle_;
};

/// The disks of a machine or checkpoint (IDiskEnumerator).
class DiskEnumerator {
 public:
  explicit DiskEnumerator(qv_disk_enumerator* raw) : handle_(raw) {}
  void Reset() { Check(qv_disk_enumerator_reset(handle_.get())); }
  bool Next() { return detail::Flag(qv_disk_enumerator_next, handle_.get()); }
  const char* GetDiskId() { return detail::Get(qv_disk_enumerator_get_disk_id, handle_.get()); }
  const char* GetPath() { return detail::Get(qv_disk_enumerator_get_path, handle_.get()); }
  const char* GetBaseDiskId() {
    return detail::Get(qv_disk_enumerator_get_base_disk_id, handle_.get());
  }
  const char* GetBasePath() { return detail::Get(qv_disk_enumerator_get_base_path, handle_.get()); }
  int64_t GetMaxInternalSize() {
    return detail::Get(qv_disk_enumerator_get_max_internal_size, handle_.get());
  }
  uint32_t IsDvd() { return detail::Get(qv_disk_enumerator_is_dvd, handle_.get()); }
  uint32_t GetFormat() { return detail::Get(qv_disk_enumerator_get_format, handle_.get()); }
  bool IsOnScsi() { return detail::Flag(qv_disk_enumerator_is_on_scsi, handle_.get()); }
  uint32_t GetControllerAddress() {
    return detail::Get(qv_disk_enumerator_get_controller_address, handle_.get());
  }
  uint32_t GetLocation() { return detail::Get(qv_disk_enumerator_get_location, handle_.get()); }
  DiskChangeEnumerator GetDiskChangeEnumerator(const char* changeTrackingId) {
    return DiskChangeEnumerator(detail::Get(qv_disk_enumerator_get_disk_change_enumerator,
                                            handle_.get(), changeTrackingId));
  }
  QUORVANE_PORTABLE_RANGE(DiskEnumerator)

 private:
  Handle<qv_disk_enumerator, qv_disk_enumerator_release> handle_;
};

/// The settings of one machine or checkpoint (IMachineInfo).
class MachineInfo {
 public:
  explicit MachineInfo(qv_machine_info* raw) : handle_(raw) {}
  const char* GetName() { return detail::Get(qv_machine_info_get_name, handle_.get()); }
  int64_t GetMemory() { return detail::Get(qv_machine_info_get_memory, handle_.get()); }
  int64_t GetProcessorCount() {
    return detail::Get(qv_machine_info_get_processor_count, handle_.get());
  }
  int64_t GetCreationTime() {
    return detail::Get(qv_machine_info_get_creation_time, handle_.get());
  }
  const char* GetVersion() { return detail::Get(qv_machine_info_get_version, handle_.get()); }
  const char* GetConfigurationId() {
    return detail::Get(qv_machine_info_get_configuration_id, handle_.get());
  }
  const char* GetParentId() { return detail::Get(qv_machine_info_get_parent_id, handle_.get()); }
  const char* GetId() { return detail::Get(qv_machine_info_get_id, handle_.get()); }
  const char* GetConfigurationDataRoot() {
    return detail::Get(qv_machine_info_get_configuration_data_root, handle_.get());
  }
  const char* GetConfigurationFile() {
    return detail::Get(qv_machine_info_get_configuration_file, handle_.get());
  }
  const char* GetGuestStateDataRoot() {
    return detail::Get(qv_machine_info_get_guest_state_data_root, handle_.get());
  }
  const char* GetGuestStateFile() {
    return detail::Get(qv_machine_info_get_guest_state_file, handle_.get());
  }
  const char* GetSnapshotDataRoot() {
    return detail::Get(qv_machine_info_get_snapshot_data_root, handle_.get());
  }
  bool IsGeneration2() { return detail::Flag(qv_machine_info_is_generation2, handle_.get()); }
  bool IsVersion62OrLater() {
    return detail::Flag(qv_machine_info_is_version_62_or_later, handle_.get());
  }
  DiskEnumerator CreateDiskEnumerator(bool includeDvd) {
    return DiskEnumerator(
        detail::Get(qv_machine_info_create_disk_enumerator, handle_.get(), includeDvd ? 1 : 0));
  }

 private:
  Handle<qv_machine_info, qv_machine_info_release> handle_;
};

/// Machines or checkpoints (IMachineEnumerator).
class MachineEnumerator {
 public:
  explicit MachineEnumerator(qv_machine_enumerator* raw) : handle_(raw) {}
  void Reset() { Check(qv_machine_enumerator_reset(handle_.get())); }
  bool Next() { return detail::Flag(qv_machine_enumerator_next, handle_.get()); }
  const char* GetName() { return detail::Get(qv_machine_enumerator_get_name, handle_.get()); }
  int64_t GetCreationTime() {
    return detail::Get(qv_machine_enumerator_get_creation_time, handle_.get());
  }
  const char* GetId() { return detail::Get(qv_machine_enumerator_get_id, handle_.get()); }
  const char* GetParentId() {
    return detail::Get(qv_machine_enumerator_get_parent_id, handle_.get());
  }
  MachineInfo GetMachineInfo() {
    return MachineInfo(detail::Get(qv_machine_enumerator_get_machine_info, handle_.get()));
  }
  QUORVANE_PORTABLE_RANGE(MachineEnumerator)

 private:
  Handle<qv_machine_enumerator, qv_machine_enumerator_release> handle_;
};

/// The host's virtual switches (IEthernetSwithEnumerator).
class EthernetSwitchEnumerator {
 public:
  explicit EthernetSwitchEnumerator(qv_switch_enumerator* raw) : handle_(raw) {}
  void Reset() { Check(qv_switch_enumerator_reset(handle_.get())); }
  bool Next() { return detail::Flag(qv_switch_enumerator_next, handle_.get()); }
  const char* GetName() { return detail::Get(qv_switch_enumerator_get_name, handle_.get()); }
  const char* GetId() { return detail::Get(qv_switch_enumerator_get_id, handle_.get()); }
  QUORVANE_PORTABLE_RANGE(EthernetSwitchEnumerator)

 private:
  Handle<qv_switch_enumerator, qv_switch_enumerator_release> handle_;
};

/// Each disk's change tracking identifier of a recovery checkpoint (IChangeEnumerator).
class ChangeEnumerator {
 public:
  explicit ChangeEnumerator(qv_change_enumerator* raw) : handle_(raw) {}
  void Reset() { Check(qv_change_enumerator_reset(handle_.get())); }
  bool Next() { return detail::Flag(qv_change_enumerator_next, handle_.get()); }
  const char* GetDiskId() { return detail::Get(qv_change_enumerator_get_disk_id, handle_.get()); }
  const char* GetChangeTrackingId() {
    return detail::Get(qv_change_enumerator_get_change_tracking_id, handle_.get());
  }
  QUORVANE_PORTABLE_RANGE(ChangeEnumerator)

 private:
  Handle<qv_change_enumerator, qv_change_enumerator_release> handle_;
};

#undef QUORVANE_PORTABLE_RANGE

/// The operations an editor and a builder share (IMachineEditor), on the editor handle given.
class MachineEditorOperations {
 public:
  void SetName(const char* name) { Check(qv_machine_editor_set_name(editor_, name)); }
  void SetMemorySize(uint64_t megabytes) {
    Check(qv_machine_editor_set_memory_size(editor_, megabytes));
  }
  void SetDynamicMemory(bool enabled) {
    Check(qv_machine_editor_set_dynamic_memory(editor_, enabled ? 1 : 0));
  }
  void SetProcessorCount(uint64_t count) {
    Check(qv_machine_editor_set_processor_count(editor_, count));
  }
  void AddNetworkAdapterWithVlan(const char* switchId, uint32_t vlanId) {
    Check(qv_machine_editor_add_network_adapter_with_vlan(editor_, switchId, vlanId));
  }
  void AddNetworkAdapter(const char* switchId) {
    Check(qv_machine_editor_add_network_adapter(editor_, switchId));
  }
  void AddDisconnectedNetworkAdapter() {
    Check(qv_machine_editor_add_disconnected_network_adapter(editor_));
  }
  void SetSecureBoot(bool enabled) {
    Check(qv_machine_editor_set_secure_boot(editor_, enabled ? 1 : 0));
  }
  void SetScsiDataDisks(bool enabled) {
    Check(qv_machine_editor_set_scsi_data_disks(editor_, enabled ? 1 : 0));
  }
  void AddDisk(const char* path) { Check(qv_machine_editor_add_disk(editor_, path)); }
  void Commit() { Check(qv_machine_editor_commit(editor_)); }
  const char* GetMachineId() { return detail::Get(qv_machine_editor_get_machine_id, editor_); }

 protected:
  explicit MachineEditorOperations(qv_machine_editor* editor) : editor_(editor) {}
  void Bind(qv_machine_editor* editor) { editor_ = editor; }

 private:
  qv_machine_editor* editor_;
};

/// Changes to an existing machine (IMachineEditor).
class MachineEditor : public MachineEditorOperations {
 public:
  explicit MachineEditor(qv_machine_editor* raw) : MachineEditorOperations(raw), handle_(raw) {}
  MachineEditor(MachineEditor&& other) noexcept
      : MachineEditorOperations(other.handle_.get()), handle_(other.handle_.release()) {}
  MachineEditor& operator=(MachineEditor&&) = delete;

 private:
  Handle<qv_machine_editor, qv_machine_editor_release> handle_;
};

/// A new machine, defined on Commit() (IMachineBuilder).
class MachineBuilder : public MachineEditorOperations {
 public:
  explicit MachineBuilder(qv_machine_builder* raw)
      : MachineEditorOperations(nullptr), handle_(raw) {
    Bind(detail::Get(qv_machine_builder_editor, handle_.get()));
  }
  MachineBuilder(MachineBuilder&& other) noexcept
      : MachineEditorOperations(nullptr), handle_(other.handle_.release()) {
    qv_machine_editor* editor = nullptr;
    qv_machine_builder_editor(handle_.get(), &editor);
    Bind(editor);
  }
  MachineBuilder& operator=(MachineBuilder&&) = delete;

  void SetVersion(const char* version) {
    Check(qv_machine_builder_set_version(handle_.get(), version));
  }
  void SetGeneration2(bool enabled) {
    Check(qv_machine_builder_set_generation2(handle_.get(), enabled ? 1 : 0));
  }
  void SetConfigurationDataRoot(const char* path) {
    Check(qv_machine_builder_set_configuration_data_root(handle_.get(), path));
  }
  void SetSnapshotDataRoot(const char* path) {
    Check(qv_machine_builder_set_snapshot_data_root(handle_.get(), path));
  }

 private:
  Handle<qv_machine_builder, qv_machine_builder_release> handle_;
};

/// Power state, deletion, records and the host's limits (IMachineManagement).
class MachineManagement {
 public:
  explicit MachineManagement(qv_machine_management* raw) : handle_(raw) {}
  void Start(const char* machineId) {
    Check(qv_machine_management_start(handle_.get(), machineId));
  }
  void PowerOff(const char* machineId) {
    Check(qv_machine_management_power_off(handle_.get(), machineId));
  }
  void Save(const char* machineId) { Check(qv_machine_management_save(handle_.get(), machineId)); }
  void DeleteMachine(const char* machineId) {
    Check(qv_machine_management_delete_machine(handle_.get(), machineId));
  }
  uint32_t GetEnabledState(const char* machineId) {
    return detail::Get(qv_machine_management_get_enabled_state, handle_.get(), machineId);
  }
  uint32_t GetOperationalStatus(const char* machineId) {
    return detail::Get(qv_machine_management_get_operational_status, handle_.get(), machineId);
  }
  MachineInfo GetMachineInfo(const char* configurationId) {
    return MachineInfo(
        detail::Get(qv_machine_management_get_machine_info, handle_.get(), configurationId));
  }
  const char* GetDefaultExternalDataRoot() {
    return detail::Get(qv_machine_management_get_default_external_data_root, handle_.get());
  }
  const char* GetDefaultVirtualHardDiskPath() {
    return detail::Get(qv_machine_management_get_default_virtual_hard_disk_path, handle_.get());
  }
  uint64_t GetMinimumProcessorCount() {
    return detail::Get(qv_machine_management_get_minimum_processor_count, handle_.get());
  }
  uint64_t GetMaximumProcessorCount() {
    return detail::Get(qv_machine_management_get_maximum_processor_count, handle_.get());
  }
  uint64_t GetMinimumMemory() {
    return detail::Get(qv_machine_management_get_minimum_memory, handle_.get());
  }
  uint64_t GetMaximumMemory() {
    return detail::Get(qv_machine_management_get_maximum_memory, handle_.get());
  }
  uint64_t GetMemoryIncrement() {
    return detail::Get(qv_machine_management_get_memory_increment, handle_.get());
  }

 private:
  Handle<qv_machine_management, qv_machine_management_release> handle_;
};

/// The checkpoints of one machine (ISnapshotManagement).
class SnapshotManagement {
 public:
  explicit SnapshotManagement(qv_snapshot_management* raw) : handle_(raw) {}
  void CreateStandardSnapshot() {
    Check(qv_snapshot_management_create_standard_snapshot(handle_.get()));
  }
  /// Returns the consistency level used; `applicationConsistentFailed` may be null.
  int32_t CreateRecoverySnapshot(bool allowFallback, bool* applicationConsistentFailed) {
    int failed = 0;
    int32_t level = 0;
    Check(qv_snapshot_management_create_recovery_snapshot(handle_.get(), allowFallback ? 1 : 0,
                                                          &failed, &level));
    if (applicationConsistentFailed != nullptr && failed != 0) {
      *applicationConsistentFailed = true;
    }
    return level;
  }
  bool IsRecoverySnapshot(const char* snapshotId) {
    return detail::Flag(qv_snapshot_management_is_recovery_snapshot, handle_.get(), snapshotId);
  }
  void ApplySnapshot(const char* snapshotId) {
    Check(qv_snapshot_management_apply_snapshot(handle_.get(), snapshotId));
  }
  void DestroySnapshot(const char* snapshotId, bool withSubtree) {
    Check(qv_snapshot_management_destroy_snapshot(handle_.get(), snapshotId, withSubtree ? 1 : 0));
  }
  void RenameSnapshot(const char* snapshotId, const char* name) {
    Check(qv_snapshot_management_rename_snapshot(handle_.get(), snapshotId, name));
  }
  const char* GetLastSnapshotId() {
    return detail::Get(qv_snapshot_management_get_last_snapshot_id, handle_.get());
  }
  MachineInfo GetSnapshotInfo(const char* snapshotId) {
    return MachineInfo(
        detail::Get(qv_snapshot_management_get_snapshot_info, handle_.get(), snapshotId));
  }
  MachineEnumerator EnumerateSnapshots() {
    return MachineEnumerator(
        detail::Get(qv_snapshot_management_enumerate_snapshots, handle_.get()));
  }
  ChangeEnumerator GetChangeEnumerator(const char* snapshotId) {
    return ChangeEnumerator(
        detail::Get(qv_snapshot_management_get_change_enumerator, handle_.get(), snapshotId));
  }
  void CreateSnapshotOfType(uint32_t snapshotType, uint32_t consistencyLevel) {
    Check(qv_snapshot_management_create_snapshot_of_type(handle_.get(), snapshotType,
                                                         consistencyLevel));
  }

 private:
  Handle<qv_snapshot_management, qv_snapshot_management_release> handle_;
};

/// The connections to one host (IQuorvane).
class Quorvane {
 public:
  explicit Quorvane(qv_root* raw) : handle_(raw) {}
  /// A root on the local host (CreateQuorvaneLocal).
  static Quorvane CreateLocal() {
    qv_root* raw = nullptr;
    Check(qv_create_local(&raw));
    return Quorvane(raw);
  }
  /// A root on `host` as `user` (CreateQuorvaneRemote); any text may be null.
  static Quorvane CreateRemote(const char* host, const char* user, const char* password) {
    qv_root* raw = nullptr;
    Check(qv_create_remote(host, user, password, &raw));
    return Quorvane(raw);
  }

  bool IsRemoteWithCredentials() {
    return detail::Flag(qv_root_is_remote_with_credentials, handle_.get());
  }
  bool SupportsVersion62() { return detail::Flag(qv_root_supports_version_62, handle_.get()); }
  const char* GetMaxVersion() { return detail::Get(qv_root_get_max_version, handle_.get()); }
  MachineBuilder CreateMachineBuilder() {
    return MachineBuilder(detail::Get(qv_root_create_machine_builder, handle_.get()));
  }
  MachineEditor CreateMachineEditor(const char* machineId) {
    return MachineEditor(detail::Get(qv_root_create_machine_editor, handle_.get(), machineId));
  }
  EthernetSwitchEnumerator CreateSwitchEnumerator() {
    return EthernetSwitchEnumerator(detail::Get(qv_root_create_switch_enumerator, handle_.get()));
  }
  MachineManagement CreateMachineManagement(bool readLimits) {
    return MachineManagement(
        detail::Get(qv_root_create_machine_management, handle_.get(), readLimits ? 1 : 0));
  }
  MachineEnumerator CreateMachineEnumerator() {
    return MachineEnumerator(detail::Get(qv_root_create_machine_enumerator, handle_.get()));
  }
  SnapshotManagement CreateSnapshotManagement(const char* machineId) {
    return SnapshotManagement(
        detail::Get(qv_root_create_snapshot_management, handle_.get(), machineId));
  }
  /// The handle, for code that calls the C interface itself.
  qv_root* get() const { return handle_.get(); }

 private:
  Handle<qv_root, qv_root_release> handle_;
};

/// Makes roots (IQuorvaneFactory).
class QuorvaneFactory {
 public:
  explicit QuorvaneFactory(qv_factory* raw) : handle_(raw) {}
  /// A factory of roots on the real host's WMI (CreateQuorvaneFactory).
  static QuorvaneFactory Create() {
    qv_factory* raw = nullptr;
    Check(qv_factory_create(&raw));
    return QuorvaneFactory(raw);
  }
  Quorvane CreateLocal() { return Quorvane(detail::Get(qv_factory_create_local, handle_.get())); }
  Quorvane CreateRemote(const char* host, const char* user, const char* password) {
    qv_root* raw = nullptr;
    Check(qv_factory_create_remote(handle_.get(), host, user, password, &raw));
    return Quorvane(raw);
  }

 private:
  Handle<qv_factory, qv_factory_release> handle_;
};

}  // namespace quorvane::portable
