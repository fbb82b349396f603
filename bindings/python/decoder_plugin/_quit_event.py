"""The event that ends every wait of the decoders that were given it."""

from __future__ import annotations

import ctypes
import os
import sys
import uuid
from typing import Optional

if sys.platform == "win32":

    class _SystemEvent:
        """A named event with manual reset."""

        def __init__(self, name: str) -> None:
            self.name = f"Local\\{name}"
            self._kernel = ctypes.WinDLL("kernel32", use_last_error=True)
            self._kernel.CreateEventW.restype = ctypes.c_void_p
            handle = self._kernel.CreateEventW(None, True, False, ctypes.c_wchar_p(self.name))
            if not handle:
                raise OSError(ctypes.get_last_error(), "the quit event can't be made")
            self._handle: Optional[ctypes.c_void_p] = ctypes.c_void_p(handle)

        def set(self) -> None:
            self._kernel.SetEvent(self._handle)

        def clear(self) -> None:
            self._kernel.ResetEvent(self._handle)

        def close(self) -> None:
            if self._handle:
                self._kernel.CloseHandle(self._handle)
                self._handle = None

else:

    class _SystemEvent:
        """A FIFO that is set while it holds a byte."""

        def __init__(self, name: str) -> None:
            self.name = name
            self._path = f"/dev/shm/{name}"
            os.mkfifo(self._path, 0o600)
            self._descriptor = os.open(self._path, os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)

        def set(self) -> None:
            try:
                os.write(self._descriptor, b"\0")
            except BlockingIOError:
                pass  # full, so set

        def clear(self) -> None:
            try:
                while os.read(self._descriptor, 4096):
                    pass
            except BlockingIOError:
                pass

        def close(self) -> None:
            if self._descriptor >= 0:
                os.close(self._descriptor)
                os.unlink(self._path)
                self._descriptor = -1


class QuitEvent:
    """Set from any thread; ``close`` or the end of ``with`` removes it from the system."""

    def __init__(self) -> None:
        self._system = _SystemEvent(f"decoder-plugin.{os.getpid()}.{uuid.uuid4().hex}")
        self.name = self._system.name

    def set(self) -> None:
        self._system.set()

    def clear(self) -> None:
        self._system.clear()

    def close(self) -> None:
        self._system.close()

    def __enter__(self) -> "QuitEvent":
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()
