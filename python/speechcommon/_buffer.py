"""Bytes that C reads in place: held (so they can be neither freed nor resized) until released.

Python objects lend their memory through the buffer protocol; holding the buffer keeps an mmap
from being closed and a bytearray from being resized. A read-only dictionary view reads its image
for as long as it is open, so an image that could change under it (a writable buffer other than
an mmap) or that is not aligned to 4 bytes is copied instead.
"""

from __future__ import annotations

import ctypes
import mmap
import os
from ctypes import c_char_p, c_int, c_ssize_t, c_void_p
from typing import Any, Optional


class _PyBuffer(ctypes.Structure):
    _fields_ = [
        ("buf", c_void_p),
        ("obj", c_void_p),
        ("len", c_ssize_t),
        ("itemsize", c_ssize_t),
        ("readonly", c_int),
        ("ndim", c_int),
        ("format", c_char_p),
        ("shape", c_void_p),
        ("strides", c_void_p),
        ("suboffsets", c_void_p),
        ("internal", c_void_p),
    ]


_api = ctypes.pythonapi
_api.PyObject_GetBuffer.argtypes = [ctypes.py_object, ctypes.POINTER(_PyBuffer), c_int]
_api.PyObject_GetBuffer.restype = c_int
_api.PyBuffer_Release.argtypes = [ctypes.POINTER(_PyBuffer)]
_api.PyBuffer_Release.restype = None
_PyBUF_SIMPLE = 0


class Pinned:
    """The address and size of bytes held for C; release() (or a with block) lets them go."""

    def __init__(self, source: Any, copy: bool = False) -> None:
        self._view: Optional[_PyBuffer] = None
        self._copy: Optional[ctypes.Array] = None
        self._file: Optional[mmap.mmap] = None
        view = _PyBuffer()
        _api.PyObject_GetBuffer(source, ctypes.byref(view), _PyBUF_SIMPLE)
        self.size = view.len
        writable = not view.readonly and not isinstance(source, mmap.mmap)
        if copy or writable or (view.buf or 0) % 4:
            self._copy = (ctypes.c_uint32 * (self.size // 4 + 1))()
            ctypes.memmove(self._copy, view.buf, self.size)
            _api.PyBuffer_Release(ctypes.byref(view))
            self.address = ctypes.addressof(self._copy)
        else:
            self._view = view
            self.address = view.buf

    @classmethod
    def image(cls, source: Any) -> "Pinned":
        """Bytes-like objects and mmaps as they are; a path is mapped read-only."""
        if isinstance(source, (str, os.PathLike)):
            with open(source, "rb") as file:
                size = os.fstat(file.fileno()).st_size
                if size == 0:
                    return cls(b"")
                mapped = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
            pinned = cls(mapped)
            pinned._file = mapped
            return pinned
        return cls(source)

    def release(self) -> None:
        if self._view is not None:
            _api.PyBuffer_Release(ctypes.byref(self._view))
            self._view = None
        self._copy = None
        if self._file is not None:
            self._file.close()
            self._file = None

    def __enter__(self) -> "Pinned":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.release()
