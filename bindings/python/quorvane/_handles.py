"""Owning handles and the calls every object makes through them."""
from __future__ import annotations

import ctypes
from typing import Any, Callable, Optional, TypeVar

from ._errors import raise_for
from ._native import libraries

T = TypeVar("T", bound="Handle")


def encode(text: Optional[str]) -> Optional[bytes]:
    return None if text is None else text.encode("utf-8")


def decode(raw: Optional[bytes]) -> Optional[str]:
    return None if raw is None else raw.decode("utf-8")


class Handle:
    """One object of the library: released by close(), by leaving a `with` block, or when the
    garbage collector takes it."""

    _prefix = ""  # the C functions' prefix, such as "qv_root"

    def __init__(self, pointer: ctypes.c_void_p, library: Any = None) -> None:
        self._library = library if library is not None else libraries().core
        self._pointer: Optional[ctypes.c_void_p] = pointer

    def close(self) -> None:
        """Gives the object back to the library; further calls raise ValueError."""
        if self._pointer is not None:
            getattr(self._library, self._prefix + "_release")(self._pointer)
            self._pointer = None

    def __enter__(self: T) -> T:
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # noqa: BLE001 - never raise from the collector
            pass

    def _handle(self) -> ctypes.c_void_p:
        if self._pointer is None:
            raise ValueError(f"{type(self).__name__} is closed")
        return self._pointer

    def _call(self, operation: str, *args: Any) -> None:
        function: Callable[..., int] = getattr(self._library, f"{self._prefix}_{operation}")
        raise_for(function(self._handle(), *args), self._library)

    def _out(self, operation: str, ctype: Any, *args: Any) -> Any:
        value = ctype()
        self._call(operation, *args, ctypes.byref(value))
        return value.value

    def _text(self, operation: str, *args: Any) -> Optional[str]:
        return decode(self._out(operation, ctypes.c_char_p, *args))

    def _flag(self, operation: str, *args: Any) -> bool:
        return bool(self._out(operation, ctypes.c_int, *args))

    def _make(self, operation: str, cls: type[T], *args: Any) -> T:
        pointer = ctypes.c_void_p()
        self._call(operation, *args, ctypes.byref(pointer))
        return cls(pointer, self._library)


class Enumerator(Handle):
    """Iterating walks on from the cursor, as a file does: a new enumerator yields every element
    once. reset() goes back before the first, reading the source again where the library does
    (a machine enumerator then lists every machine a second time after the first set, as the
    library's own does)."""

    def reset(self) -> None:
        self._call("reset")

    def next(self) -> bool:
        return self._flag("next")

    def _entry(self) -> Any:
        raise NotImplementedError

    def __iter__(self):
        while self.next():
            yield self._entry()
