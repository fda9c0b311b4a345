"""The library's objects."""
from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import Optional

from ._handles import Enumerator, Handle, encode


def _text(operation: str) -> property:
    """A read-only attribute given by the C accessor `operation`."""
    return property(lambda self: self._text(operation))


def _flag(operation: str) -> property:
    return property(lambda self: self._flag(operation))


def _number(operation: str, ctype) -> property:
    return property(lambda self: self._out(operation, ctype))


@dataclass(frozen=True)
class MachineEntry:
    name: str
    id: str
    parent_id: str
    creation_time: int


@dataclass(frozen=True)
class DiskEntry:
    disk_id: str
    path: str
    base_disk_id: str
    base_path: str
    max_internal_size: int
    is_dvd: bool
    format: int
    is_on_scsi: bool
    controller_address: int
    location: int


@dataclass(frozen=True)
class SwitchEntry:
    name: str
    id: str


@dataclass(frozen=True)
class ChangeTrackingEntry:
    disk_id: str
    change_tracking_id: str


@dataclass(frozen=True)
class ByteRange:
    offset: int
    length: int


class MachineInfo(Handle):
    """The settings of one machine or checkpoint."""

    _prefix = "qv_machine_info"

    name = _text("get_name")
    memory = _number("get_memory", ctypes.c_int64)
    processor_count = _number("get_processor_count", ctypes.c_int64)
    creation_time = _number("get_creation_time", ctypes.c_int64)
    version = _text("get_version")
    configuration_id = _text("get_configuration_id")
    parent_id = _text("get_parent_id")
    id = _text("get_id")
    configuration_data_root = _text("get_configuration_data_root")
    configuration_file = _text("get_configuration_file")
    guest_state_data_root = _text("get_guest_state_data_root")
    guest_state_file = _text("get_guest_state_file")
    snapshot_data_root = _text("get_snapshot_data_root")
    is_generation2 = _flag("is_generation2")
    is_version_62_or_later = _flag("is_version_62_or_later")

    def disks(self, include_dvd: bool = False) -> "DiskEnumerator":
        return self._make("create_disk_enumerator", DiskEnumerator, int(include_dvd))


class MachineEnumerator(Enumerator):
    """Machines or checkpoints; iterating yields MachineEntry."""

    _prefix = "qv_machine_enumerator"

    def _entry(self) -> MachineEntry:
        return MachineEntry(self._text("get_name"), self._text("get_id"),
                            self._text("get_parent_id"),
                            self._out("get_creation_time", ctypes.c_int64))

    def machine_info(self) -> MachineInfo:
        """The current entry's record."""
        return self._make("get_machine_info", MachineInfo)


class DiskEnumerator(Enumerator):
    """Disks; iterating yields DiskEntry."""

    _prefix = "qv_disk_enumerator"

    def _entry(self) -> DiskEntry:
        return DiskEntry(
            self._text("get_disk_id"), self._text("get_path"), self._text("get_base_disk_id"),
            self._text("get_base_path"), self._out("get_max_internal_size", ctypes.c_int64),
            bool(self._out("is_dvd", ctypes.c_uint32)), self._out("get_format", ctypes.c_uint32),
            self._flag("is_on_scsi"), self._out("get_controller_address", ctypes.c_uint32),
            self._out("get_location", ctypes.c_uint32))

    def changes_since(self, change_tracking_id: str) -> "DiskChangeEnumerator":
        """The current disk's byte ranges changed since the identifier."""
        return self._make("get_disk_change_enumerator", DiskChangeEnumerator,
                          encode(change_tracking_id))


class SwitchEnumerator(Enumerator):
    _prefix = "qv_switch_enumerator"

    def _entry(self) -> SwitchEntry:
        return SwitchEntry(self._text("get_name"), self._text("get_id"))


class ChangeEnumerator(Enumerator):
    """Each disk's change tracking identifier of a recovery checkpoint."""

    _prefix = "qv_change_enumerator"

    def _entry(self) -> ChangeTrackingEntry:
        return ChangeTrackingEntry(self._text("get_disk_id"), self._text("get_change_tracking_id"))


class DiskChangeEnumerator(Enumerator):
    """Changed byte ranges, in order. Iterating asks the host again."""

    _prefix = "qv_disk_change_enumerator"

    def _entry(self) -> ByteRange:
        return ByteRange(self._out("get_offset", ctypes.c_uint64),
                         self._out("get_length", ctypes.c_uint64))


class MachineEditor(Handle):
    """Records changes to a machine; commit() applies them."""

    _prefix = "qv_machine_editor"

    def set_name(self, name: str) -> None:
        self._call("set_name", encode(name))

    def set_memory_size(self, megabytes: int) -> None:
        self._call("set_memory_size", megabytes)

    def set_dynamic_memory(self, enabled: bool) -> None:
        self._call("set_dynamic_memory", int(enabled))

    def set_processor_count(self, count: int) -> None:
        self._call("set_processor_count", count)

    def add_network_adapter(self, switch_id: str, vlan_id: Optional[int] = None) -> None:
        if vlan_id is None:
            self._call("add_network_adapter", encode(switch_id))
        else:
            self._call("add_network_adapter_with_vlan", encode(switch_id), vlan_id)

    def add_disconnected_network_adapter(self) -> None:
        self._call("add_disconnected_network_adapter")

    def set_secure_boot(self, enabled: bool) -> None:
        self._call("set_secure_boot", int(enabled))

    def set_scsi_data_disks(self, enabled: bool) -> None:
        self._call("set_scsi_data_disks", int(enabled))

    def add_disk(self, path: str) -> None:
        self._call("add_disk", encode(path))

    def commit(self) -> None:
        self._call("commit")

    machine_id = _text("get_machine_id")


class _BuilderEditor(MachineEditor):
    """A builder's own editor: the builder releases it."""

    def close(self) -> None:
        self._pointer = None


class MachineBuilder(Handle):
    """Defines a new machine on commit(); the editor's operations are its own too."""

    _prefix = "qv_machine_builder"

    def __init__(self, pointer: ctypes.c_void_p, library=None) -> None:
        super().__init__(pointer, library)
        self._editor = self._make("editor", _BuilderEditor)

    def __getattr__(self, name: str):
        if name.startswith("_"):
            raise AttributeError(name)
        return getattr(self._editor, name)

    def set_version(self, version: str) -> None:
        self._call("set_version", encode(version))

    def set_generation2(self, enabled: bool) -> None:
        self._call("set_generation2", int(enabled))

    def set_configuration_data_root(self, path: str) -> None:
        self._call("set_configuration_data_root", encode(path))

    def set_snapshot_data_root(self, path: str) -> None:
        self._call("set_snapshot_data_root", encode(path))

    @property
    def machine_id(self) -> str:
        return self._editor.machine_id


class MachineManagement(Handle):
    """Power state, deletion, records and the host's limits."""

    _prefix = "qv_machine_management"

    def start(self, machine_id: str) -> None:
        self._call("start", encode(machine_id))

    def power_off(self, machine_id: str) -> None:
        self._call("power_off", encode(machine_id))

    def save(self, machine_id: str) -> None:
        self._call("save", encode(machine_id))

    def delete_machine(self, machine_id: str) -> None:
        self._call("delete_machine", encode(machine_id))

    def enabled_state(self, machine_id: str) -> int:
        return self._out("get_enabled_state", ctypes.c_uint32, encode(machine_id))

    def operational_status(self, machine_id: str) -> int:
        return self._out("get_operational_status", ctypes.c_uint32, encode(machine_id))

    def machine_info(self, configuration_id: str) -> MachineInfo:
        return self._make("get_machine_info", MachineInfo, encode(configuration_id))

    default_external_data_root = _text("get_default_external_data_root")
    default_virtual_hard_disk_path = _text("get_default_virtual_hard_disk_path")
    minimum_processor_count = _number("get_minimum_processor_count", ctypes.c_uint64)
    maximum_processor_count = _number("get_maximum_processor_count", ctypes.c_uint64)
    minimum_memory = _number("get_minimum_memory", ctypes.c_uint64)
    maximum_memory = _number("get_maximum_memory", ctypes.c_uint64)
    memory_increment = _number("get_memory_increment", ctypes.c_uint64)


class SnapshotManagement(Handle):
    """The checkpoints of one machine."""

    _prefix = "qv_snapshot_management"

    def create_standard_snapshot(self) -> None:
        self._call("create_standard_snapshot")

    def create_recovery_snapshot(self, allow_fallback: bool = True) -> tuple[int, bool]:
        """Returns the consistency level used (1 application, 2 crash) and whether the
        application-consistent attempt failed."""
        failed = ctypes.c_int()
        level = ctypes.c_int32()
        self._call("create_recovery_snapshot", int(allow_fallback), ctypes.byref(failed),
                   ctypes.byref(level))
        return level.value, bool(failed.value)

    def create_snapshot_of_type(self, snapshot_type: int, consistency_level: int) -> None:
        self._call("create_snapshot_of_type", snapshot_type, consistency_level)

    def is_recovery_snapshot(self, snapshot_id: str) -> bool:
        return self._flag("is_recovery_snapshot", encode(snapshot_id))

    def apply_snapshot(self, snapshot_id: str) -> None:
        self._call("apply_snapshot", encode(snapshot_id))

    def destroy_snapshot(self, snapshot_id: str, with_subtree: bool = False) -> None:
        self._call("destroy_snapshot", encode(snapshot_id), int(with_subtree))

    def rename_snapshot(self, snapshot_id: str, name: str) -> None:
        self._call("rename_snapshot", encode(snapshot_id), encode(name))

    last_snapshot_id = _text("get_last_snapshot_id")

    def snapshot_info(self, snapshot_id: str) -> MachineInfo:
        return self._make("get_snapshot_info", MachineInfo, encode(snapshot_id))

    def snapshots(self) -> MachineEnumerator:
        return self._make("enumerate_snapshots", MachineEnumerator)

    def change_tracking_ids(self, snapshot_id: str) -> ChangeEnumerator:
        """Turns a recovery checkpoint into each disk's change tracking identifier."""
        return self._make("get_change_enumerator", ChangeEnumerator, encode(snapshot_id))


class Root(Handle):
    """The connections to one host; every other object comes from here."""

    _prefix = "qv_root"

    is_remote_with_credentials = _flag("is_remote_with_credentials")
    supports_version_62 = _flag("supports_version_62")
    max_version = _text("get_max_version")

    def machine_builder(self) -> MachineBuilder:
        return self._make("create_machine_builder", MachineBuilder)

    def machine_editor(self, machine_id: str) -> MachineEditor:
        return self._make("create_machine_editor", MachineEditor, encode(machine_id))

    def switches(self) -> SwitchEnumerator:
        return self._make("create_switch_enumerator", SwitchEnumerator)

    def machine_management(self, read_limits: bool = False) -> MachineManagement:
        return self._make("create_machine_management", MachineManagement, int(read_limits))

    def machines(self) -> MachineEnumerator:
        return self._make("create_machine_enumerator", MachineEnumerator)

    def snapshot_management(self, machine_id: str) -> SnapshotManagement:
        return self._make("create_snapshot_management", SnapshotManagement, encode(machine_id))


class Factory(Handle):
    """Makes roots."""

    _prefix = "qv_factory"

    def create_local(self) -> Root:
        return self._make("create_local", Root)

    def create_remote(self, host: Optional[str], user: Optional[str] = None,
                      password: Optional[str] = None) -> Root:
        return self._make("create_remote", Root, encode(host), encode(user), encode(password))
