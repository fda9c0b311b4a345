"""The simulated Hyper-V host, for tests on machines without Hyper-V."""
from __future__ import annotations

import ctypes
import os
from dataclasses import dataclass
from typing import Optional, Union

from ._errors import raise_for_sim
from ._handles import Handle, decode, encode
from ._native import libraries
from ._objects import Factory, Root

#: How a scripted operation failure raises.
FAULT_WMI_STATUS = 0
FAULT_COM_ERROR = 1
FAULT_STANDARD_EXCEPTION = 2


@dataclass(frozen=True)
class Call:
    """One operation the host received."""
    operation: str
    name_space: str
    target: str
    method: str
    clock_ms: int
    inputs: tuple[tuple[str, str], ...]

    def input(self, name: str) -> str:
        return next((value for key, value in self.inputs if key == name), "")


def _sim():
    sim = libraries().sim
    if sim is None:
        raise OSError("the simulated host's library was not found (set QUORVANE_LIBRARY_DIR)")
    return sim


class SimulatedHost(Handle):
    """One simulated host; close() or a `with` block gives it back (roots keep it alive)."""

    _prefix = "qv_sim_host"

    def __init__(self, pointer: ctypes.c_void_p, library=None) -> None:
        super().__init__(pointer, library if library is not None else _sim())

    @classmethod
    def _made(cls, function: str, *args) -> "SimulatedHost":
        sim = _sim()
        pointer = ctypes.c_void_p()
        raise_for_sim(getattr(sim, function)(*args, ctypes.byref(pointer)), sim)
        return cls(pointer, sim)

    @classmethod
    def create(cls) -> "SimulatedHost":
        """A host with its management services and nothing else."""
        return cls._made("qv_sim_host_create")

    @classmethod
    def default(cls) -> "SimulatedHost":
        """The shipped default scenario."""
        return cls._made("qv_sim_host_create_default")

    @classmethod
    def from_json(cls, json: str, source_name: str = "json") -> "SimulatedHost":
        return cls._made("qv_sim_host_from_json", encode(json), encode(source_name))

    @classmethod
    def load(cls, path: Union[str, os.PathLike]) -> "SimulatedHost":
        return cls._made("qv_sim_host_load", encode(os.fspath(path)))

    def _call(self, operation: str, *args) -> None:
        function = getattr(self._library, f"{self._prefix}_{operation}")
        raise_for_sim(function(self._handle(), *args), self._library)

    def _identifier(self, operation: str, *args) -> str:
        text = ctypes.c_char_p()
        self._call(operation, *args, ctypes.byref(text))
        return decode(text.value) or ""

    # Keeping.
    def to_json(self) -> str:
        text = ctypes.c_char_p()
        self._call("to_json", ctypes.byref(text))
        return decode(text.value) or ""

    def save(self, path: Union[str, os.PathLike]) -> None:
        self._call("save", encode(os.fspath(path)))

    # Building.
    def add_machine(self, name: str, id: Optional[str] = None, generation2: bool = True,
                    enabled_state: int = 3) -> str:
        return self._identifier("add_machine", encode(name), encode(id), int(generation2),
                                enabled_state)

    def add_snapshot(self, machine_id: str, name: str = "", recovery: bool = False) -> str:
        return self._identifier("add_snapshot", encode(machine_id), encode(name), int(recovery))

    def add_switch(self, name: str) -> str:
        return self._identifier("add_switch", encode(name))

    def add_disk_file(self, path: str, size_bytes: int, parent_path: Optional[str] = None) -> str:
        return self._identifier("add_disk_file", encode(path), size_bytes, encode(parent_path))

    def attach_disk(self, machine_id: str, path: str) -> None:
        self._call("attach_disk", encode(machine_id), encode(path))

    def attach_dvd(self, machine_id: str, iso_path: str) -> None:
        self._call("attach_dvd", encode(machine_id), encode(iso_path))

    def detach_disk(self, machine_id: str, path: str) -> None:
        self._call("detach_disk", encode(machine_id), encode(path))

    def set_machine_security(self, machine_id: str, tpm: bool, shielding: bool,
                             encrypt_state: bool) -> None:
        self._call("set_machine_security", encode(machine_id), int(tpm), int(shielding),
                   int(encrypt_state))

    def write_to_disk(self, path: str, offset: int, length: int) -> None:
        self._call("write_to_disk", encode(path), offset, length)

    def expire_change_tracking(self, path: str) -> None:
        self._call("expire_change_tracking", encode(path))

    def set_property(self, object_path: str, property: str, value: str) -> None:
        self._call("set_property", encode(object_path), encode(property), encode(value))

    def remove_object(self, object_path: str) -> None:
        self._call("remove_object", encode(object_path))

    # Failures.
    def fail_method_calls(self, class_name: str, method: str, return_value: int,
                          count: int = 1) -> None:
        self._call("fail_method_calls", encode(class_name), encode(method), return_value, count)

    def fail_jobs(self, class_name: str, method: str, error_code: int, description: str,
                  count: int = 1) -> None:
        self._call("fail_jobs", encode(class_name), encode(method), error_code,
                   encode(description), count)

    def fail_operations(self, operation: str, match: str, status: int, count: int = 1,
                        kind: int = FAULT_WMI_STATUS) -> None:
        self._call("fail_operations", encode(operation), encode(match), status, count, kind)

    def fail_nth_method_call(self, class_name: str, method: str, nth: int,
                             return_value: int) -> None:
        self._call("fail_nth_method_call", encode(class_name), encode(method), nth, return_value)

    def fail_nth_job(self, class_name: str, method: str, nth: int, error_code: int,
                     description: str) -> None:
        self._call("fail_nth_job", encode(class_name), encode(method), nth, error_code,
                   encode(description))

    def fail_nth_operation(self, operation: str, match: str, nth: int, status: int,
                           kind: int = FAULT_WMI_STATUS) -> None:
        self._call("fail_nth_operation", encode(operation), encode(match), nth, status, kind)

    def clear_faults(self) -> None:
        self._call("clear_faults")

    # Binding the library.
    def create_root(self, host: Optional[str] = None, user: Optional[str] = None,
                    password: Optional[str] = None) -> Root:
        """A root bound to this host; its failures raise as the library's do."""
        pointer = ctypes.c_void_p()
        self._call("create_root", encode(host), encode(user), encode(password),
                   ctypes.byref(pointer))
        return Root(pointer, libraries().core)

    def create_factory(self) -> Factory:
        pointer = ctypes.c_void_p()
        self._call("create_factory", ctypes.byref(pointer))
        return Factory(pointer, libraries().core)

    # Clock and call log.
    @property
    def clock_ms(self) -> int:
        value = ctypes.c_uint64()
        self._call("clock_ms", ctypes.byref(value))
        return value.value

    def advance_clock(self, milliseconds: int) -> None:
        self._call("advance_clock", milliseconds)

    def clear_call_log(self) -> None:
        self._call("clear_call_log")

    def call_log(self) -> list[Call]:
        pointer = ctypes.c_void_p()
        self._call("call_log", ctypes.byref(pointer))
        sim = self._library
        try:
            count = ctypes.c_uint64()
            raise_for_sim(sim.qv_sim_call_log_count(pointer, ctypes.byref(count)), sim)
            calls = []
            for index in range(count.value):
                texts = [ctypes.c_char_p() for _ in range(4)]
                clock, inputs = ctypes.c_uint64(), ctypes.c_uint64()
                raise_for_sim(sim.qv_sim_call_log_get(pointer, index,
                                                      *[ctypes.byref(t) for t in texts],
                                                      ctypes.byref(clock), ctypes.byref(inputs)),
                              sim)
                pairs = []
                for k in range(inputs.value):
                    name, value = ctypes.c_char_p(), ctypes.c_char_p()
                    raise_for_sim(sim.qv_sim_call_log_input(pointer, index, k, ctypes.byref(name),
                                                            ctypes.byref(value)), sim)
                    pairs.append((decode(name.value), decode(value.value)))
                calls.append(Call(*[decode(t.value) for t in texts], clock.value, tuple(pairs)))
            return calls
        finally:
            sim.qv_sim_call_log_release(pointer)
