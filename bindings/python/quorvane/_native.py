"""Finding the library and declaring its C functions."""
from __future__ import annotations

import ctypes
import functools
import os
import sys
from ctypes import POINTER, c_char_p, c_int, c_int32, c_int64, c_uint16, c_uint32, c_uint64, c_void_p
from typing import Optional

_TEXT_OUT = POINTER(c_char_p)

# Argument types by name; every function returns a status unless listed in _RESULTS.
_H = c_void_p
_PROTOTYPES: dict[str, tuple] = {}


def _declare(names: str, *argtypes) -> None:
    for name in names.split():
        _PROTOTYPES[name] = argtypes


_declare("qv_factory_create qv_create_local", POINTER(_H))
_declare("qv_factory_create_local", _H, POINTER(_H))
_declare("qv_factory_create_remote", _H, c_char_p, c_char_p, c_char_p, POINTER(_H))
_declare("qv_create_remote", c_char_p, c_char_p, c_char_p, POINTER(_H))
_declare(
    "qv_factory_release qv_root_release qv_machine_info_release qv_machine_enumerator_release "
    "qv_disk_enumerator_release qv_switch_enumerator_release qv_machine_editor_release "
    "qv_machine_builder_release qv_machine_management_release qv_snapshot_management_release "
    "qv_change_enumerator_release qv_disk_change_enumerator_release", _H)
_declare(
    "qv_machine_enumerator_reset qv_disk_enumerator_reset qv_switch_enumerator_reset "
    "qv_change_enumerator_reset qv_disk_change_enumerator_reset "
    "qv_machine_editor_add_disconnected_network_adapter qv_machine_editor_commit "
    "qv_snapshot_management_create_standard_snapshot", _H)
_declare(
    "qv_root_is_remote_with_credentials qv_root_supports_version_62 qv_machine_info_is_generation2 "
    "qv_machine_info_is_version_62_or_later qv_machine_enumerator_next qv_disk_enumerator_next "
    "qv_disk_enumerator_is_on_scsi qv_switch_enumerator_next qv_change_enumerator_next "
    "qv_disk_change_enumerator_next", _H, POINTER(c_int))
_declare(
    "qv_root_get_max_version qv_machine_info_get_name qv_machine_info_get_version "
    "qv_machine_info_get_configuration_id qv_machine_info_get_parent_id qv_machine_info_get_id "
    "qv_machine_info_get_configuration_data_root qv_machine_info_get_configuration_file "
    "qv_machine_info_get_guest_state_data_root qv_machine_info_get_guest_state_file "
    "qv_machine_info_get_snapshot_data_root qv_machine_enumerator_get_name "
    "qv_machine_enumerator_get_id qv_machine_enumerator_get_parent_id qv_disk_enumerator_get_disk_id "
    "qv_disk_enumerator_get_path qv_disk_enumerator_get_base_disk_id qv_disk_enumerator_get_base_path "
    "qv_switch_enumerator_get_name qv_switch_enumerator_get_id qv_machine_editor_get_machine_id "
    "qv_machine_management_get_default_external_data_root "
    "qv_machine_management_get_default_virtual_hard_disk_path "
    "qv_snapshot_management_get_last_snapshot_id qv_change_enumerator_get_disk_id "
    "qv_change_enumerator_get_change_tracking_id", _H, _TEXT_OUT)
_declare(
    "qv_machine_info_get_memory qv_machine_info_get_processor_count qv_machine_info_get_creation_time "
    "qv_machine_enumerator_get_creation_time qv_disk_enumerator_get_max_internal_size",
    _H, POINTER(c_int64))
_declare(
    "qv_disk_enumerator_is_dvd qv_disk_enumerator_get_format qv_disk_enumerator_get_controller_address "
    "qv_disk_enumerator_get_location", _H, POINTER(c_uint32))
_declare(
    "qv_machine_management_get_minimum_processor_count qv_machine_management_get_maximum_processor_count "
    "qv_machine_management_get_minimum_memory qv_machine_management_get_maximum_memory "
    "qv_machine_management_get_memory_increment qv_disk_change_enumerator_get_offset "
    "qv_disk_change_enumerator_get_length", _H, POINTER(c_uint64))
_declare(
    "qv_root_create_machine_builder qv_root_create_switch_enumerator qv_root_create_machine_enumerator "
    "qv_machine_enumerator_get_machine_info qv_machine_builder_editor "
    "qv_snapshot_management_enumerate_snapshots", _H, POINTER(_H))
_declare(
    "qv_root_create_machine_editor qv_root_create_snapshot_management "
    "qv_disk_enumerator_get_disk_change_enumerator qv_machine_management_get_machine_info "
    "qv_snapshot_management_get_snapshot_info qv_snapshot_management_get_change_enumerator",
    _H, c_char_p, POINTER(_H))
_declare("qv_root_create_machine_management qv_machine_info_create_disk_enumerator",
         _H, c_int, POINTER(_H))
_declare(
    "qv_machine_editor_set_name qv_machine_editor_add_network_adapter qv_machine_editor_add_disk "
    "qv_machine_builder_set_version qv_machine_builder_set_configuration_data_root "
    "qv_machine_builder_set_snapshot_data_root qv_machine_management_start "
    "qv_machine_management_power_off qv_machine_management_save qv_machine_management_delete_machine "
    "qv_snapshot_management_apply_snapshot", _H, c_char_p)
_declare("qv_machine_editor_set_memory_size qv_machine_editor_set_processor_count", _H, c_uint64)
_declare(
    "qv_machine_editor_set_dynamic_memory qv_machine_editor_set_secure_boot "
    "qv_machine_editor_set_scsi_data_disks qv_machine_builder_set_generation2", _H, c_int)
_declare("qv_machine_editor_add_network_adapter_with_vlan", _H, c_char_p, c_uint32)
_declare("qv_machine_management_get_enabled_state qv_machine_management_get_operational_status",
         _H, c_char_p, POINTER(c_uint32))
_declare("qv_snapshot_management_create_recovery_snapshot", _H, c_int, POINTER(c_int),
         POINTER(c_int32))
_declare("qv_snapshot_management_is_recovery_snapshot", _H, c_char_p, POINTER(c_int))
_declare("qv_snapshot_management_destroy_snapshot", _H, c_char_p, c_int)
_declare("qv_snapshot_management_rename_snapshot", _H, c_char_p, c_char_p)
_declare("qv_snapshot_management_create_snapshot_of_type", _H, c_uint32, c_uint32)

# The simulated host's functions.
_declare("qv_sim_host_create qv_sim_host_create_default", POINTER(_H))
_declare("qv_sim_host_from_json", c_char_p, c_char_p, POINTER(_H))
_declare("qv_sim_host_load", c_char_p, POINTER(_H))
_declare("qv_sim_host_release qv_sim_call_log_release", _H)
_declare("qv_sim_host_to_json", _H, _TEXT_OUT)
_declare("qv_sim_host_save qv_sim_host_expire_change_tracking qv_sim_host_remove_object",
         _H, c_char_p)
_declare("qv_sim_host_fail_method_calls", _H, c_char_p, c_char_p, c_uint32, c_int32)
_declare("qv_sim_host_fail_jobs", _H, c_char_p, c_char_p, c_uint16, c_char_p, c_int32)
_declare("qv_sim_host_fail_operations", _H, c_char_p, c_char_p, c_uint32, c_int32, c_int32)
_declare("qv_sim_host_fail_nth_method_call", _H, c_char_p, c_char_p, c_int32, c_uint32)
_declare("qv_sim_host_fail_nth_job", _H, c_char_p, c_char_p, c_int32, c_uint16, c_char_p)
_declare("qv_sim_host_fail_nth_operation", _H, c_char_p, c_char_p, c_int32, c_uint32, c_int32)
_declare("qv_sim_host_clear_faults qv_sim_host_clear_call_log", _H)
_declare("qv_sim_host_add_machine", _H, c_char_p, c_char_p, c_int, c_uint16, _TEXT_OUT)
_declare("qv_sim_host_add_snapshot", _H, c_char_p, c_char_p, c_int, _TEXT_OUT)
_declare("qv_sim_host_add_switch", _H, c_char_p, _TEXT_OUT)
_declare("qv_sim_host_add_disk_file", _H, c_char_p, c_uint64, c_char_p, _TEXT_OUT)
_declare("qv_sim_host_attach_disk qv_sim_host_attach_dvd qv_sim_host_detach_disk",
         _H, c_char_p, c_char_p)
_declare("qv_sim_host_set_machine_security", _H, c_char_p, c_int, c_int, c_int)
_declare("qv_sim_host_write_to_disk", _H, c_char_p, c_uint64, c_uint64)
_declare("qv_sim_host_set_property", _H, c_char_p, c_char_p, c_char_p)
_declare("qv_sim_host_create_root", _H, c_char_p, c_char_p, c_char_p, POINTER(_H))
_declare("qv_sim_host_create_factory qv_sim_host_call_log", _H, POINTER(_H))
_declare("qv_sim_host_clock_ms qv_sim_call_log_count", _H, POINTER(c_uint64))
_declare("qv_sim_host_advance_clock", _H, c_uint64)
_declare("qv_sim_call_log_get", _H, c_uint64, _TEXT_OUT, _TEXT_OUT, _TEXT_OUT, _TEXT_OUT,
         POINTER(c_uint64), POINTER(c_uint64))
_declare("qv_sim_call_log_input", _H, c_uint64, c_uint64, _TEXT_OUT, _TEXT_OUT)

_RESULTS = {
    "qv_last_error_code": (c_uint32, ()),
    "qv_last_error_message": (c_char_p, ()),
    "qv_last_error_kind": (c_int32, ()),
    "qv_last_error_change_tracking_unusable": (c_int, ()),
    "qv_version": (c_char_p, ()),
    "qv_sim_last_error_code": (c_uint32, ()),
    "qv_sim_last_error_message": (c_char_p, ()),
}


def _candidates(stem: str) -> list[str]:
    if sys.platform == "win32":
        return [f"{stem}.dll"]
    if sys.platform == "darwin":
        return [f"lib{stem}.dylib"]
    return [f"lib{stem}.so.0", f"lib{stem}.so"]


def _open(stem: str) -> Optional[ctypes.CDLL]:
    directory = os.environ.get("QUORVANE_LIBRARY_DIR")
    for name in _candidates(stem):
        path = os.path.join(directory, name) if directory else name
        try:
            return ctypes.CDLL(path)
        except OSError:
            continue
    return None


def _prepare(library: ctypes.CDLL, prefix: str) -> None:
    for name, argtypes in _PROTOTYPES.items():
        if not name.startswith(prefix) or not hasattr(library, name):
            continue
        function = getattr(library, name)
        function.argtypes = list(argtypes)
        function.restype = None if name.endswith("_release") else c_uint32
    for name, (restype, argtypes) in _RESULTS.items():
        if name.startswith(prefix) and hasattr(library, name):
            function = getattr(library, name)
            function.restype = restype
            function.argtypes = list(argtypes)


class Libraries:
    """The library (`core`) and the simulated host's functions (`sim`, None when absent)."""

    def __init__(self) -> None:
        simulated = _open("quorvane_simulated_host") if sys.platform != "win32" else None
        if simulated is not None:
            self.core: ctypes.CDLL = simulated
            self.sim: Optional[ctypes.CDLL] = simulated
        else:
            core = _open("quorvane")
            if core is None:
                raise OSError("the quorvane library was not found (set QUORVANE_LIBRARY_DIR)")
            self.core = core
            self.sim = _open("quorvane_simhost") if sys.platform == "win32" else None
        _prepare(self.core, "qv_")
        if self.sim is not None and self.sim is not self.core:
            _prepare(self.sim, "qv_sim_")


@functools.lru_cache(maxsize=None)
def libraries() -> Libraries:
    """The libraries, loaded on first use."""
    return Libraries()
