"""Finding libspeechcommon and declaring the C functions this package calls.

The library is looked for beside this package, then at $SPEECHCOMMON_LIBRARY, then on the
system's search path; the first one that loads is used for the life of the process.
"""

from __future__ import annotations

import ctypes
import ctypes.util
import os
from ctypes import (
    CFUNCTYPE,
    POINTER,
    Structure,
    c_char,
    c_char_p,
    c_int,
    c_int32,
    c_size_t,
    c_uint8,
    c_uint16,
    c_uint32,
    c_void_p,
)
from pathlib import Path
from typing import Optional

ENVIRONMENT_VARIABLE = "SPEECHCOMMON_LIBRARY"
SONAME = "libspeechcommon.so.1"

# Wide strings cross the interface as NUL-terminated UTF-16 units.
c_char16_p = POINTER(c_uint16)


class SafeHandle(Structure):
    _fields_ = [("pointer", c_void_p), ("check", c_uint32)]


class EDCT_ENTRY(Structure):
    _fields_ = [
        ("Content", c_uint32),
        ("Representation", c_uint32),
        ("POS", c_uint32),
        ("Language", c_void_p),
        ("Model", c_void_p),
        ("Engine", c_void_p),
        ("Data", c_void_p),
        ("DataSize", c_uint32),
    ]


class EDCT_INFO(Structure):
    _fields_ = [
        ("Name", c_char16_p),
        ("Description", c_char16_p),
        ("NbrKeys", c_uint32),
        ("NbrEntries", c_uint32),
    ]


class EDCT_FILTER(Structure):
    _fields_ = [
        ("Content", c_uint32),
        ("POS", c_uint32),
        ("Language", c_void_p),
        ("Model", c_void_p),
        ("Engine", c_void_p),
    ]


class EDCT_STREAM_DIAGNOSTIC(Structure):
    _fields_ = [
        ("Reason", c_uint32),
        ("Line", c_uint32),
        ("Column", c_uint32),
        ("Text", c_char_p),
        ("Found", c_char * 128),
    ]


EDCT_READSTREAM_FN = CFUNCTYPE(c_uint32, c_void_p, c_void_p, POINTER(c_uint32))
EDCT_WRITESTREAM_FN = CFUNCTYPE(c_uint32, c_void_p, c_void_p, c_uint32)


class Tag(Structure):
    pass


Tag._fields_ = [
    ("name", c_char16_p),
    ("value", c_char16_p),
    ("children", POINTER(Tag)),
    ("next", POINTER(Tag)),
]


class ParserResource(Structure):
    _fields_ = [("kind", c_uint32), ("state", c_void_p), ("baseOffset", c_uint32)]


class DataBlock(Structure):
    pass


DataBlock._fields_ = [
    ("source", POINTER(ParserResource)),
    ("size", c_uint32),
    ("name", c_char16_p),
    ("next", POINTER(DataBlock)),
]


class FileStructure(Structure):
    _fields_ = [("path", c_char16_p), ("tags", POINTER(Tag)), ("dataBlocks", POINTER(DataBlock))]


class BrkComponentInfo(Structure):
    _fields_ = [
        ("brokerString", c_char_p),
        ("name", c_char16_p),
        ("version", c_char_p),
        ("language", c_char_p),
        ("priority", c_uint32),
    ]


class BrkComponentList(Structure):
    _fields_ = [
        ("count", c_uint32),
        ("entries", POINTER(BrkComponentInfo)),
        ("capacity", c_uint32),
    ]


BrkResolveCallback = CFUNCTYPE(c_int, c_char_p, c_uint32, POINTER(c_char_p))

R = c_uint32  # VQRESULT
H = SafeHandle
P = c_void_p  # BrkClass *, BrkObject *, BrkData *

# name: (restype, argtypes). Everything here is part of the exported C API.
_PROTOTYPES: dict[str, tuple[object, list[object]]] = {
    "vq_ErrorGetString": (c_char_p, [R]),
    "vq_ErrorGetModuleName": (c_char_p, [R]),
    "rsrc_Open": (R, [c_size_t, c_size_t, c_uint32, c_uint32, POINTER(H)]),
    "rsrc_Close": (R, [H]),
    "edct_KeyFromUTF8": (R, [c_char_p, POINTER(c_char16_p)]),
    "edct_KeyFree": (R, [c_char16_p]),
    "edct_DctOpen": (R, [H, c_void_p, c_uint32, c_void_p, c_void_p, POINTER(H)]),
    "edct_DctClose": (R, [H]),
    "edct_DctCheckImage": (R, [c_void_p, c_size_t]),
    "edct_DctAddEntry": (R, [H, c_char16_p, POINTER(EDCT_ENTRY), c_uint32]),
    "edct_DctRemoveEntry": (R, [H, c_char16_p]),
    "edct_DctGetEntryData": (
        R,
        [H, c_char16_p, POINTER(EDCT_FILTER), POINTER(POINTER(EDCT_ENTRY)), POINTER(c_uint32)],
    ),
    "edct_DctFreeEntryData": (R, [H, POINTER(EDCT_ENTRY), c_uint32]),
    "edct_DctGetInfo": (R, [H, POINTER(EDCT_INFO)]),
    "edct_DctFreeInfo": (R, [H, POINTER(EDCT_INFO)]),
    "edct_DctSetInfo": (R, [H, POINTER(EDCT_INFO)]),
    "edct_DctGetCallbackError": (R, [H, POINTER(c_uint32)]),
    "edct_DctArchive": (R, [H, c_void_p, POINTER(c_uint32), c_uint32]),
    "edct_DctReadStreamEx": (
        R,
        [H, EDCT_READSTREAM_FN, c_uint32, c_void_p, POINTER(EDCT_STREAM_DIAGNOSTIC)],
    ),
    "edct_DctWriteStream": (R, [H, EDCT_WRITESTREAM_FN, c_uint32, c_void_p]),
    "edct_DctItOpen": (R, [H, H, POINTER(H)]),
    "edct_DctItClose": (R, [H]),
    "edct_DctItHasEnded": (R, [H, POINTER(c_uint32)]),
    "edct_DctItCurrent": (
        R,
        [H, POINTER(c_char16_p), POINTER(POINTER(EDCT_ENTRY)), POINTER(c_uint32),
         POINTER(c_uint32)],
    ),
    "edct_DctItIncrement": (R, [H]),
    "edct_DctMgrOpen": (R, [H, POINTER(H)]),
    "edct_DctMgrClose": (R, [H]),
    "edct_DctMgrRegisterDct": (R, [H, H, c_uint32]),
    "edct_DctMgrUnregisterDct": (R, [H, H]),
    "edct_DctMgrPromoteDct": (R, [H, H]),
    "edct_DctMgrGetRegisteredDcts": (R, [H, POINTER(H), POINTER(c_uint32)]),
    "edct_DctMgrGetEntryData": (
        R,
        [H, c_char16_p, POINTER(EDCT_FILTER), POINTER(POINTER(EDCT_ENTRY)), POINTER(c_uint32),
         POINTER(H)],
    ),
    "hdrpars_ReadFileHeader": (R, [c_char_p, POINTER(POINTER(FileStructure))]),
    "hdrpars_DeleteFileStructure": (R, [POINTER(FileStructure)]),
    "hdrpars_WriteFile": (R, [POINTER(FileStructure)]),
    "hdrpars_OpenResource": (
        R, [c_void_p, c_uint32, c_uint32, c_uint32, c_uint32, POINTER(POINTER(ParserResource))]
    ),
    "hdrpars_CloseResource": (R, [POINTER(ParserResource)]),
    "hdrpars_DataMap": (
        R, [POINTER(ParserResource), c_uint32, c_int32, POINTER(c_void_p), POINTER(c_uint32)]
    ),
    "hdrpars_DataUnMap": (R, [POINTER(ParserResource), c_void_p]),
    "hdrpars_OpenData": (R, [c_char16_p, POINTER(FileStructure), POINTER(POINTER(DataBlock))]),
    "hdrpars_CloseData": (R, [POINTER(DataBlock), POINTER(FileStructure)]),
    "brk_ClassOpenEx": (R, [POINTER(P), c_char_p, H, c_void_p]),
    "brk_ClassClose": (R, [P]),
    "brk_ObjOpen": (R, [POINTER(P), c_char_p, c_char_p, P, c_void_p]),
    "brk_ObjClose": (R, [P]),
    "brk_InterfaceQuery": (R, [P, c_char_p, c_uint8, POINTER(H), POINTER(c_void_p)]),
    "brk_InterfaceRelease": (R, [P, c_void_p]),
    "brk_DataOpen": (R, [P, c_char_p, POINTER(P)]),
    "brk_DataClose": (R, [P, P]),
    "brk_DataMap": (R, [P, P, c_uint32, c_uint32, POINTER(c_void_p)]),
    "brk_DataUnmap": (R, [P, P, c_void_p]),
    "brk_DataSizeQuery": (R, [P, P, POINTER(c_uint32)]),
    "brk_TagQuery": (R, [P, c_char_p, c_char_p, POINTER(c_char16_p)]),
    "brk_ComponentListQuery": (R, [P, c_char_p, POINTER(POINTER(BrkComponentList))]),
    "brk_ComponentListRelease": (R, [P, POINTER(BrkComponentList)]),
    "brk_BrokerStringQuery": (R, [P, c_char_p, c_char_p, POINTER(c_void_p)]),
    "brk_InfoQuery": (R, [P, c_char_p, POINTER(c_void_p)]),
    "brk_InfoRelease": (R, [P, c_void_p]),
}

# The families that read their own codes, by module id (each has ..._ErrorGetString and
# ..._ErrorGetSubModuleName); the trace family (9) has neither.
FAMILIES = {
    1: "srvspi",
    6: "osspi",
    11: "heap",
    20: "critsec",
    21: "brk",
    22: "rsrc",
    23: "safeh",
    30: "edct",
    34: "hdrpars",
}
for _family in FAMILIES.values():
    _PROTOTYPES[f"{_family}_ErrorGetString"] = (c_char_p, [R])
    _PROTOTYPES[f"{_family}_ErrorGetSubModuleName"] = (c_char_p, [R])


class LibraryNotFoundError(OSError):
    """No copy of libspeechcommon could be loaded; the message lists every place tried."""


LibraryNotFoundError.__module__ = "speechcommon"


def _candidates() -> list[tuple[str, str]]:
    """(how it was found, path or name to load), in the order they are tried."""
    found: list[tuple[str, str]] = []
    here = Path(__file__).resolve().parent
    for name in ("libspeechcommon.so", SONAME):
        found.append(("beside the package", str(here / name)))
    configured = os.environ.get(ENVIRONMENT_VARIABLE)
    if configured:
        path = Path(configured)
        if path.is_dir():
            for name in ("libspeechcommon.so", SONAME):
                found.append((f"${ENVIRONMENT_VARIABLE}", str(path / name)))
        else:
            found.append((f"${ENVIRONMENT_VARIABLE}", configured))
    found.append(("the system's search path", SONAME))
    located = ctypes.util.find_library("speechcommon")
    if located and located != SONAME:
        found.append(("the system's search path", located))
    return found


def _load() -> ctypes.CDLL:
    tried: list[str] = []
    for how, where in _candidates():
        is_path = "/" in where
        if is_path and not os.path.exists(where):
            tried.append(f"  {where} ({how}): no such file")
            continue
        try:
            library = ctypes.CDLL(where)
        except OSError as error:
            tried.append(f"  {where} ({how}): {error}")
            continue
        _declare(library)
        return library
    raise LibraryNotFoundError(
        "cannot load libspeechcommon; tried, in order:\n"
        + "\n".join(tried)
        + f"\nInstall the library, or set {ENVIRONMENT_VARIABLE} to its path."
    )


def _declare(library: ctypes.CDLL) -> None:
    for name, (restype, argtypes) in _PROTOTYPES.items():
        try:
            function = getattr(library, name)
        except AttributeError:
            # A library older than this package lacks a newer name; calling it says so.
            continue
        function.restype = restype
        function.argtypes = argtypes


_library: Optional[ctypes.CDLL] = None


def library() -> ctypes.CDLL:
    """The loaded library, loading it at the first call."""
    global _library
    if _library is None:
        _library = _load()
    return _library


def path() -> str:
    """The file the library was loaded from (as the process mapped it)."""
    name = library()._name
    try:
        with open("/proc/self/maps", encoding="utf-8", errors="replace") as maps:
            for line in maps:
                mapped = line.split(None, 5)[-1].strip()
                if os.path.basename(mapped).startswith("libspeechcommon.so"):
                    return mapped
    except OSError:
        pass
    return name


def null_handle() -> SafeHandle:
    return SafeHandle(None, 0)
