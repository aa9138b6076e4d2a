"""The component broker: engines and add-ons installed below a root directory."""

from __future__ import annotations

import ctypes
import os
from ctypes import POINTER, byref, c_uint32, c_void_p
from dataclasses import dataclass
from typing import Optional, Union

from . import _text
from ._library import BrkComponentList, SafeHandle, library, null_handle
from ._owned import Owned
from .errors import check

ENGINE_TYPES = ("ASRENGINE", "TTSENGINE", "FXENGINE")


def _c(text: Optional[str]) -> Optional[bytes]:
    return None if text is None else text.encode("utf-8", "surrogateescape")


def _py(raw: Optional[bytes]) -> Optional[str]:
    return None if raw is None else raw.decode("utf-8", "surrogateescape")


@dataclass(frozen=True)
class Component:
    """A component as a component list gives it."""

    broker_string: str
    name: Optional[str]
    version: Optional[str]
    language: Optional[str]
    priority: int  # compared unsigned: 0xFFFFFFFF (-1 in a header) ranks first


class Broker(Owned):
    """The registry of the components below one root directory. ``open()`` gives the objects
    through which components are reached; ``engines()`` and ``components()`` list through an
    object without engine."""

    _closed_code = "BRK_E_INVALID_ARGUMENT"

    def __init__(self, root: Union[str, "os.PathLike[str]"]) -> None:
        lib = library()
        self.root = os.fsdecode(root)
        handle = c_void_p()
        check(lib.brk_ClassOpenEx(byref(handle), os.fsencode(root), null_handle(), None),
              f"opening the broker over {self.root}")
        self._handle = handle
        self._own(f"the broker over {self.root}", lambda: lib.brk_ClassClose(handle))

    def open(self, engine: Optional[str] = None, language: Optional[str] = None) -> "BrokerObject":
        """An object on the engine of a broker string (None: on no engine, reaching only the
        shared add-ons), whose language filters the default form (None: filters nothing)."""
        self._live()
        return BrokerObject(self, engine, language)

    def components(self, component_type: str) -> list[Component]:
        with self.open() as anywhere:
            return anywhere.components(component_type)

    def engines(self, component_type: Optional[str] = None) -> list[Component]:
        """The engines of one type, or of every engine type."""
        types = (component_type,) if component_type else ENGINE_TYPES
        with self.open() as anywhere:
            return [engine for kind in types for engine in anywhere.components(kind)]


class BrokerObject(Owned):
    """An object on a broker: components, broker strings, tags, data blocks and interfaces."""

    _closed_code = "BRK_E_INVALID_ARGUMENT"

    def __init__(self, broker: Broker, engine: Optional[str], language: Optional[str]) -> None:
        lib = library()
        handle = c_void_p()
        check(lib.brk_ObjOpen(byref(handle), _c(engine), _c(language), broker._handle, None),
              f"opening an object on {engine or 'no engine'}")
        self._handle = handle
        self.engine = engine
        self.language = language
        self._own(f"the broker object on {engine or 'no engine'}", lambda: lib.brk_ObjClose(handle),
                  broker)

    def components(self, component_type: str) -> list[Component]:
        """Engines of an engine type, else the add-ons of that COMPTYPE the object reaches (its
        engine's first, then the shared ones)."""
        self._live()
        lib = library()
        listed = POINTER(BrkComponentList)()
        check(lib.brk_ComponentListQuery(self._handle, _c(component_type), byref(listed)),
              f"listing {component_type}")
        try:
            found = listed.contents
            return [
                Component(
                    _py(found.entries[i].brokerString) or "",
                    _text.from_utf16(found.entries[i].name),
                    _py(found.entries[i].version),
                    _py(found.entries[i].language),
                    found.entries[i].priority,
                )
                for i in range(found.count)
            ]
        finally:
            check(lib.brk_ComponentListRelease(self._handle, listed), "releasing a list")

    def _string_answer(self, function: str, what: str, *arguments: Optional[bytes]) -> str:
        self._live()
        lib = library()
        answer = c_void_p()
        check(getattr(lib, function)(self._handle, *arguments, byref(answer)), what)
        try:
            return _py(ctypes.string_at(answer.value)) or ""
        finally:
            check(lib.brk_InfoRelease(self._handle, answer), "releasing a string")

    def broker_string(self, component_type: str, name: str) -> str:
        """The broker string of the first component of a type with that NAME."""
        return self._string_answer("brk_BrokerStringQuery", f"finding {component_type} {name!r}",
                                   _c(component_type), _c(name))

    def info(self, broker_string: str) -> str:
        """For an engine or an exact add-on broker string, the path of its module; for the
        default form ``prefix/def``, the broker string of the add-on it selects."""
        return self._string_answer("brk_InfoQuery", f"resolving {broker_string!r}", _c(broker_string))

    def resolve(self, broker_string: str) -> str:
        """The broker string that a default form (``prefix/def``) selects for this object; any
        other broker string is given back as it is once the object reaches it."""
        if len(broker_string) > 4 and broker_string.endswith("/def"):
            return self.info(broker_string)
        self.tag(broker_string, "BROKERSTRING")
        return broker_string

    def tag(self, broker_string: str, tag_name: str) -> str:
        """A header value of an engine, a reachable add-on, or ``component:block``'s
        DATABLOCK."""
        self._live()
        value = POINTER(ctypes.c_uint16)()
        check(library().brk_TagQuery(self._handle, _c(broker_string), _c(tag_name), byref(value)),
              f"reading {tag_name} of {broker_string!r}")
        return _text.from_utf16(value) or ""

    def data(self, broker_string: str) -> "BrokerData":
        """A data block of an add-on: ``component:block``, or the block "data"."""
        self._live()
        return BrokerData(self, broker_string)

    def interface(self, broker_string: str, interface_id: int) -> "Interface":
        """A numbered interface of a component's module (loading it at the first request)."""
        self._live()
        return Interface(self, broker_string, interface_id)


class BrokerData(Owned):
    """An open data block: ``size``, ``read()`` for bytes, ``view()`` for a memoryview into the
    broker's mapping, valid until the block closes."""

    _closed_code = "BRK_E_INVALID_ARGUMENT"

    def __init__(self, owner: BrokerObject, broker_string: str) -> None:
        lib = library()
        handle = c_void_p()
        check(lib.brk_DataOpen(owner._handle, _c(broker_string), byref(handle)),
              f"opening data {broker_string!r}")
        self.broker_string = broker_string
        self._object = owner._handle
        self._handle = handle
        self._views: list[tuple[memoryview, int]] = []
        views, obj = self._views, owner._handle

        def release() -> int:
            for view, address in views:
                view.release()
                lib.brk_DataUnmap(obj, handle, address)
            views.clear()
            return lib.brk_DataClose(obj, handle)

        self._own(f"data {broker_string!r}", release, owner)
        size = c_uint32()
        check(lib.brk_DataSizeQuery(owner._handle, handle, byref(size)), "sizing data")
        self.size: int = size.value

    def _map(self, offset: int, size: int) -> int:
        address = c_void_p()
        check(library().brk_DataMap(self._object, self._handle, offset, size, byref(address)),
              f"mapping {self.broker_string!r}")
        return address.value or 0

    def read(self, offset: int = 0, size: Optional[int] = None) -> bytes:
        """``size`` bytes from ``offset`` (None: to the end); a range past the end raises
        SpeechCommonError with BRK_E_CANNOT_READ_DATA."""
        self._live()
        size = self.size - offset if size is None else size
        if size == 0:
            return b""
        address = self._map(offset, size)
        try:
            return ctypes.string_at(address, size)
        finally:
            library().brk_DataUnmap(self._object, self._handle, address)

    def view(self, offset: int = 0, size: Optional[int] = None) -> memoryview:
        self._live()
        size = self.size - offset if size is None else size
        if size == 0:
            return memoryview(b"")
        address = self._map(offset, size)
        view = memoryview((ctypes.c_ubyte * size).from_address(address)).cast("B").toreadonly()
        self._views.append((view, address))
        return view


class Interface(Owned):
    """A module's interface, held until closed: ``address`` (cast it with ctypes to the
    interface's own structure) and ``instance``, the module's instance handle."""

    _closed_code = "BRK_E_INTERFACE_NOT_FOUND"

    def __init__(self, owner: BrokerObject, broker_string: str, interface_id: int) -> None:
        lib = library()
        instance = SafeHandle()
        pointer = c_void_p()
        check(lib.brk_InterfaceQuery(owner._handle, _c(broker_string), interface_id,
                                     byref(instance), byref(pointer)),
              f"asking {broker_string!r} for interface {interface_id}")
        self.address: int = pointer.value or 0
        self.instance: SafeHandle = instance
        obj = owner._handle
        self._own(f"interface {interface_id} of {broker_string!r}",
                  lambda: lib.brk_InterfaceRelease(obj, pointer), owner)

    def cast(self, kind: type) -> "ctypes._Pointer":
        """The interface as a pointer to a ctypes structure."""
        self._live()
        return ctypes.cast(self.address, POINTER(kind))


__all__ = ["Broker", "BrokerData", "BrokerObject", "Component", "Interface"]


