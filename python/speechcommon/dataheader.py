"""Data header files: a tree of named elements, and named data blocks after it."""

from __future__ import annotations

import ctypes
import os
from ctypes import POINTER, byref, c_uint32, c_void_p
from dataclasses import dataclass, field
from typing import Iterator, Mapping, Optional, Sequence, Union

from . import _text
from ._library import DataBlock as _CDataBlock
from ._library import FileStructure, ParserResource, Tag, library
from ._owned import Owned
from .errors import SpeechCommonError, check, code

_RESOURCE_MEMORY = 1
_WHOLE = -1  # hdrpars_DataMap: the resource's whole size


@dataclass
class Element:
    """An element of the tree: its name, its value (for an element with children, its whole
    inner text) and its children."""

    name: str
    value: str = ""
    children: list["Element"] = field(default_factory=list)

    def find(self, *path: str) -> Optional["Element"]:
        """The first child of that name, then its first child of the next name, and so on."""
        return _find(self.children, path)

    def __getitem__(self, name: str) -> "Element":
        found = self.find(name)
        if found is None:
            raise KeyError(name)
        return found

    def walk(self, depth: int = 0) -> Iterator[tuple[int, "Element"]]:
        yield depth, self
        for child in self.children:
            yield from child.walk(depth + 1)


def _find(elements: Sequence[Element], path: Sequence[str]) -> Optional[Element]:
    level: Sequence[Element] = elements
    found: Optional[Element] = None
    for name in path:
        found = next((element for element in level if element.name == name), None)
        if found is None:
            return None
        level = found.children
    return found


def _elements(tag: "ctypes._Pointer[Tag]") -> list[Element]:
    out: list[Element] = []
    while tag:
        record = tag.contents
        out.append(Element(_text.from_utf16(record.name) or "",
                           _text.from_utf16(record.value) or "",
                           _elements(record.children)))
        tag = record.next
    return out


@dataclass(frozen=True)
class BlockInfo:
    """A data block as its DATABLOCK element describes it."""

    name: str
    offset: Optional[int]
    size: Optional[int]


def _number(element: Optional[Element]) -> Optional[int]:
    try:
        return int(element.value) if element is not None else None
    except ValueError:
        return None


class DataHeaderFile(Owned):
    """A data header file read from a path: ``elements`` (the tree inside HEADER), ``blocks``
    (what its DATABLOCK elements declare), and the blocks' bytes (``read_block``, or
    ``open_block`` for mapped views)."""

    _closed_code = "HDRPARS_E_INVALID_ARGUMENT"

    def __init__(self, path: Union[str, "os.PathLike[str]", bytes]) -> None:
        lib = library()
        self.path = os.fsdecode(path)
        structure = POINTER(FileStructure)()
        check(lib.hdrpars_ReadFileHeader(os.fsencode(path), byref(structure)), f"reading {self.path}")
        self._structure = structure
        self.elements: list[Element] = _elements(structure.contents.tags)
        self._own(self.path, lambda: lib.hdrpars_DeleteFileStructure(structure))

    def find(self, *path: str) -> Optional[Element]:
        """The element at a path of names, level by level (``find("INFO", "LANGUAGE")``)."""
        return _find(self.elements, path)

    def __getitem__(self, name: str) -> Element:
        found = self.find(*name.split("/"))
        if found is None:
            raise KeyError(name)
        return found

    @property
    def blocks(self) -> list[BlockInfo]:
        out = []
        for element in self.elements:
            if element.name == "DATABLOCK":
                name = element.find("BROKERSTRING")
                if name is not None:
                    out.append(BlockInfo(name.value, _number(element.find("OFFSET")),
                                         _number(element.find("SIZE"))))
        return out

    def open_block(self, name: str) -> "HeaderBlock":
        self._live()
        return HeaderBlock(self, name)

    def read_block(self, name: str) -> bytes:
        """A data block's bytes; a file that holds fewer than the block's SIZE raises
        SpeechCommonError with HDRPARS_E_END_OF_FILE."""
        with self.open_block(name) as block:
            return block.read()


class HeaderBlock(Owned):
    """An open data block of a data header file: ``size``, ``read()`` for bytes, ``view()`` for
    a read-only memoryview into the library's mapping, valid until the block closes."""

    _closed_code = "HDRPARS_E_INVALID_ARGUMENT"

    def __init__(self, owner: DataHeaderFile, name: str) -> None:
        lib = library()
        block = POINTER(_CDataBlock)()
        key = _text.to_utf16(name, "a block name")
        check(lib.hdrpars_OpenData(_text.as_char16_p(key), owner._structure, byref(block)),
              f"opening block {name!r} of {owner.path}")
        self.name = name
        self.size: int = block.contents.size
        self._source = block.contents.source
        self._views: list[tuple[memoryview, int]] = []
        structure = owner._structure
        views = self._views
        source = self._source

        def release() -> int:
            for view, address in views:
                view.release()
                lib.hdrpars_DataUnMap(source, address)
            views.clear()
            return lib.hdrpars_CloseData(block, structure)

        self._own(f"block {name!r} of {owner.path}", release, owner)

    def _map(self, offset: int, length: int) -> tuple[int, int]:
        address = c_void_p()
        available = c_uint32()
        check(library().hdrpars_DataMap(self._source, offset, length, byref(address),
                                        byref(available)), f"mapping block {self.name!r}")
        return address.value or 0, available.value

    def read(self, offset: int = 0, length: Optional[int] = None) -> bytes:
        self._live()
        wanted = self.size - offset if length is None else length
        if wanted <= 0 or offset < 0:
            return b""
        address, available = self._map(offset, wanted)
        try:
            data = ctypes.string_at(address, available) if address else b""
        finally:
            if address:
                library().hdrpars_DataUnMap(self._source, address)
        if len(data) < wanted:
            raise SpeechCommonError(code("HDRPARS_E_END_OF_FILE"), f"reading block {self.name!r}",
                                    f"{len(data)} of {wanted} bytes in the file")
        return data

    def view(self, offset: int = 0, length: Optional[int] = None) -> memoryview:
        """A read-only view of the bytes in place (no copy), released when the block closes."""
        self._live()
        wanted = self.size - offset if length is None else length
        if wanted <= 0 or offset < 0:
            return memoryview(b"")
        address, available = self._map(offset, wanted)
        if available < wanted:
            if address:
                library().hdrpars_DataUnMap(self._source, address)
            raise SpeechCommonError(code("HDRPARS_E_END_OF_FILE"), f"mapping block {self.name!r}",
                                    f"{available} of {wanted} bytes in the file")
        view = memoryview((ctypes.c_ubyte * available).from_address(address)).cast("B").toreadonly()
        self._views.append((view, address))
        return view


ElementSpec = Union[Element, tuple[str, Union[str, Sequence["ElementSpec"]]]]


class _CHeap:
    """C allocations for a structure that the library frees (its trees are malloc blocks)."""

    def __init__(self) -> None:
        libc = ctypes.CDLL(None)
        self.malloc = libc.malloc
        self.malloc.restype = c_void_p
        self.malloc.argtypes = [ctypes.c_size_t]
        self.calloc = libc.calloc
        self.calloc.restype = c_void_p
        self.calloc.argtypes = [ctypes.c_size_t, ctypes.c_size_t]

    def wide(self, text: str) -> int:
        units = text.encode("utf-16-le", "surrogatepass") + b"\0\0"
        address = self.malloc(len(units))
        if not address:
            raise MemoryError
        ctypes.memmove(address, units, len(units))
        return address

    def record(self, kind: type) -> int:
        address = self.calloc(1, ctypes.sizeof(kind))
        if not address:
            raise MemoryError
        return address


def _spec(element: ElementSpec) -> Element:
    if isinstance(element, Element):
        return element
    name, value = element
    if isinstance(value, str):
        return Element(name, value)
    return Element(name, "", [_spec(child) for child in value])


def write_data_header(path: Union[str, "os.PathLike[str]"], elements: Sequence[ElementSpec],
                      blocks: Optional[Mapping[str, bytes]] = None) -> None:
    """Writes a data header file: the elements (``Element`` objects or ``(name, value)`` and
    ``(name, [children])`` pairs) and data blocks in the order given. A block that no DATABLOCK
    element names gets one (BROKERSTRING the block's name); OFFSET and SIZE are filled in."""
    lib = library()
    heap = _CHeap()
    tree = [_spec(element) for element in elements]
    blocks = dict(blocks or {})
    declared = {e.find("BROKERSTRING").value for e in tree  # type: ignore[union-attr]
                if e.name == "DATABLOCK" and e.find("BROKERSTRING") is not None}
    tree += [Element("DATABLOCK", "", [Element("BROKERSTRING", name)])
             for name in blocks if name not in declared]

    def build(level: Sequence[Element]) -> int:
        first = 0
        previous: Optional[Tag] = None
        for element in level:
            address = heap.record(Tag)
            tag = Tag.from_address(address)
            tag.name = ctypes.cast(heap.wide(element.name), POINTER(ctypes.c_uint16))
            text = element.value if not element.children else ""
            tag.value = ctypes.cast(heap.wide(text), POINTER(ctypes.c_uint16))
            if element.children:
                tag.children = ctypes.cast(build(element.children), POINTER(Tag))
            if previous is None:
                first = address
            else:
                previous.next = ctypes.cast(address, POINTER(Tag))
            previous = tag
        return first

    structure_address = heap.record(FileStructure)
    structure = ctypes.cast(structure_address, POINTER(FileStructure))
    try:
        structure.contents.path = ctypes.cast(
            heap.wide(os.fsdecode(os.fspath(path))), POINTER(ctypes.c_uint16))
        structure.contents.tags = ctypes.cast(build(tree), POINTER(Tag))
        previous_block: Optional[_CDataBlock] = None
        for name, data in blocks.items():
            data = bytes(data)
            source = POINTER(ParserResource)()
            check(lib.hdrpars_OpenResource(data, 0, len(data), _RESOURCE_MEMORY, 0, byref(source)),
                  f"holding block {name!r}")
            address = heap.record(_CDataBlock)
            record = _CDataBlock.from_address(address)
            record.source = source
            record.size = len(data)
            record.name = ctypes.cast(heap.wide(name), POINTER(ctypes.c_uint16))
            if previous_block is None:
                structure.contents.dataBlocks = ctypes.cast(address, POINTER(_CDataBlock))
            else:
                previous_block.next = ctypes.cast(address, POINTER(_CDataBlock))
            previous_block = record
        check(lib.hdrpars_WriteFile(structure), f"writing {os.fsdecode(os.fspath(path))}")
    finally:
        # The structure, its tree and its blocks (with their sources) are the library's to free.
        lib.hdrpars_DeleteFileStructure(structure)


__all__ = ["BlockInfo", "DataHeaderFile", "Element", "HeaderBlock", "write_data_header"]
