"""Failures: each carries the library's code and message."""
from __future__ import annotations

from typing import Callable


class QuorvaneError(Exception):
    """A failure of the library: `code` (an HRESULT, a Hyper-V return value or job error code,
    or 0xFFFFFFFF for the library's own) and `message`."""

    def __init__(self, code: int, message: str, change_tracking_unusable: bool = False) -> None:
        super().__init__(f"0x{code:08X}: {message}")
        self.code = code
        self.message = message
        #: True when a change tracking identifier cannot be used: copy the disk whole.
        self.change_tracking_unusable = change_tracking_unusable


class ObjectNotFoundError(QuorvaneError):
    """A WMI instance the library looked for does not exist."""


class VmNotFoundError(ObjectNotFoundError):
    """The machine named does not exist."""


class CannotConnectError(QuorvaneError):
    """The remote host's RPC server is unavailable."""


class AccessDeniedError(QuorvaneError):
    """Access denied."""


class HyperVNotFoundError(QuorvaneError):
    """The host has no Hyper-V namespace."""


_BY_KIND = {2: ObjectNotFoundError, 3: VmNotFoundError, 4: CannotConnectError,
            5: AccessDeniedError, 6: HyperVNotFoundError}


def raise_for(status: int, library) -> None:
    """Raises the failure the library recorded for `status` (0 is success)."""
    if status == 0:
        return
    message = (library.qv_last_error_message() or b"").decode("utf-8", "replace")
    cls: Callable[..., QuorvaneError] = _BY_KIND.get(library.qv_last_error_kind(), QuorvaneError)
    raise cls(status, message, bool(library.qv_last_error_change_tracking_unusable()))


def raise_for_sim(status: int, library) -> None:
    """The same for the simulated host's functions."""
    if status == 0:
        return
    message = (library.qv_sim_last_error_message() or b"").decode("utf-8", "replace")
    raise QuorvaneError(status, message)
