"""Inventories and manages the virtual machines of a Hyper-V host, through the quorvane
library's C interface."""
from __future__ import annotations

import ctypes
from typing import Optional

from ._errors import (AccessDeniedError, CannotConnectError, HyperVNotFoundError,
                      ObjectNotFoundError, QuorvaneError, VmNotFoundError)
from ._handles import encode
from ._native import libraries
from ._objects import (ByteRange, ChangeEnumerator, ChangeTrackingEntry, DiskChangeEnumerator,
                       DiskEnumerator, DiskEntry, Factory, MachineBuilder, MachineEditor,
                       MachineEntry, MachineEnumerator, MachineInfo, MachineManagement, Root,
                       SnapshotManagement, SwitchEntry, SwitchEnumerator)
from ._errors import raise_for

__all__ = [
    "AccessDeniedError", "ByteRange", "CannotConnectError", "ChangeEnumerator",
    "ChangeTrackingEntry", "DiskChangeEnumerator", "DiskEnumerator", "DiskEntry", "Factory",
    "HyperVNotFoundError", "MachineBuilder", "MachineEditor", "MachineEntry",
    "MachineEnumerator", "MachineInfo", "MachineManagement", "ObjectNotFoundError",
    "QuorvaneError", "Root", "SnapshotManagement", "SwitchEntry", "SwitchEnumerator",
    "VmNotFoundError", "connect", "create_factory", "library_version",
]


def library_version() -> str:
    """The version of the library loaded."""
    return libraries().core.qv_version().decode("ascii")


def connect(host: Optional[str] = None, user: Optional[str] = None,
            password: Optional[str] = None) -> Root:
    """A root on `host` (the local one when None) as `user`."""
    core = libraries().core
    pointer = ctypes.c_void_p()
    raise_for(core.qv_create_remote(encode(host), encode(user), encode(password),
                                    ctypes.byref(pointer)), core)
    return Root(pointer, core)


def create_factory() -> Factory:
    """A factory of roots on the real host's WMI."""
    core = libraries().core
    pointer = ctypes.c_void_p()
    raise_for(core.qv_factory_create(ctypes.byref(pointer)), core)
    return Factory(pointer, core)
