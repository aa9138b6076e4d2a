"""Exception dictionaries: writable ones in memory, read-only views over archive images, text
streams, iteration, and a manager that searches several dictionaries in order."""

from __future__ import annotations

import ctypes
import enum
import io
import mmap
import os
import sys
from ctypes import POINTER, byref, c_uint32
from dataclasses import dataclass
from typing import IO, Any, BinaryIO, Iterable, Iterator, Literal, Optional, Union

from . import _text
from ._buffer import Pinned
from ._library import (
    EDCT_ENTRY,
    EDCT_FILTER,
    EDCT_INFO,
    EDCT_READSTREAM_FN,
    EDCT_STREAM_DIAGNOSTIC,
    EDCT_WRITESTREAM_FN,
    SafeHandle,
    c_char16_p,
    library,
    null_handle,
)
from ._owned import Owned
from .errors import SpeechCommonError, check, code, failed

MODEL_SIZE = 128  # a Model is a block of exactly this many bytes
NO_POS = 0xFFFFFFFF
_ANY = 0xFFFFFFFF
_OPEN_WRITABLE = 0
_OPEN_READONLY = 1
IMAGE_FORMAT = 3  # the first 32-bit word of an archive image, in host order


class Content(enum.IntEnum):
    """What an entry holds."""

    BROAD_NARROWS = 0  # pronunciations, a list of strings
    USERWORDS = 1  # raw bytes
    ORTHOGRAPHIC = 2  # a spelling, one string


class Representation(enum.IntEnum):
    """How an entry's data bytes are laid out."""

    SZZ_STRING = 0  # strings, each with its NUL, and one more NUL
    BINARY = 1  # bytes as they are
    SZ_STRING = 2  # one 8-bit string with its NUL
    WSZ_STRING = 3  # one UTF-16 string in host byte order with its NUL unit


_DEFAULT_REPRESENTATION = {
    Content.BROAD_NARROWS: Representation.SZZ_STRING,
    Content.USERWORDS: Representation.BINARY,
    Content.ORTHOGRAPHIC: Representation.SZ_STRING,
}

Encoding = Literal["utf8", "ucs2le", "ucs2be"]
_FORMATS = {"utf8": 0, "ucs2le": 1, "ucs2be": 2}
_HOST_16 = "ucs2le" if sys.byteorder == "little" else "ucs2be"
_WIDE = "utf-16-le" if sys.byteorder == "little" else "utf-16-be"

Value = Union[str, list[str], bytes]


def _enum(kind: type[enum.IntEnum], value: int) -> int:
    try:
        return kind(value)
    except ValueError:
        return value  # any value is stored and matched; unknown ones stay plain numbers


@dataclass
class Entry:
    """One entry of a key: its six attributes and its value, decoded by its representation
    (str for the string representations, a list of str for a list of strings, bytes otherwise).
    ``representation`` defaults to the one that goes with the content; ``pos`` None is "no
    part of speech"."""

    content: int
    value: Value
    representation: Optional[int] = None
    pos: Optional[int] = None
    language: Optional[str] = None
    model: Optional[str] = None
    engine: Optional[str] = None

    def __post_init__(self) -> None:
        self.content = _enum(Content, self.content)
        if self.representation is None:
            self.representation = _DEFAULT_REPRESENTATION.get(self.content, Representation.BINARY)
        self.representation = _enum(Representation, self.representation)
        if self.pos == NO_POS:
            self.pos = None

    @classmethod
    def orthographic(cls, text: str, **attributes: Any) -> "Entry":
        return cls(Content.ORTHOGRAPHIC, text, **attributes)

    @classmethod
    def pronunciations(cls, items: Iterable[str], **attributes: Any) -> "Entry":
        return cls(Content.BROAD_NARROWS, list(items), **attributes)

    @classmethod
    def userwords(cls, data: bytes, **attributes: Any) -> "Entry":
        return cls(Content.USERWORDS, bytes(data), **attributes)

    def data(self) -> bytes:
        """The data bytes as the dictionary stores them."""
        value, representation = self.value, self.representation
        if representation == Representation.SZ_STRING:
            return _text.encode8(_str_value(value, self)) + b"\0"
        if representation == Representation.WSZ_STRING:
            return _str_value(value, self).encode(_WIDE, "surrogatepass") + b"\0\0"
        if representation == Representation.SZZ_STRING:
            if isinstance(value, (str, bytes)) or not all(isinstance(p, str) for p in value):
                raise TypeError(f"a list of strings needs a list of str, not {value!r}")
            for piece in value:
                if not piece or "\0" in piece:
                    raise ValueError(f"a list of strings cannot hold {piece!r}")
            return b"".join(_text.encode8(piece) + b"\0" for piece in value) + b"\0"
        if not isinstance(value, (bytes, bytearray, memoryview)):
            raise TypeError(f"representation {representation!r} needs bytes, not {value!r}")
        return bytes(value)


def _str_value(value: Value, entry: Entry) -> str:
    if not isinstance(value, str):
        raise TypeError(f"representation {entry.representation!r} needs str, not {value!r}")
    if "\0" in value:
        raise ValueError(f"a string cannot hold NUL: {value!r}")
    return value


def _model_block(model: str) -> bytes:
    # The text, its NUL, then blanks: the block a text stream makes, so both compare equal.
    raw = _text.encode8(model) + b"\0"
    if len(raw) > MODEL_SIZE or "\0" in model:
        raise ValueError(f"a model holds at most {MODEL_SIZE - 1} bytes of text: {model!r}")
    return raw + b" " * (MODEL_SIZE - len(raw))


def _decode_value(representation: int, raw: bytes) -> Value:
    if representation == Representation.SZ_STRING:
        return _text.decode8(raw.split(b"\0", 1)[0])
    if representation == Representation.WSZ_STRING:
        units = len(raw) // 2
        for i in range(units):
            if raw[2 * i] == 0 and raw[2 * i + 1] == 0:
                units = i
                break
        return raw[: 2 * units].decode(_WIDE, "surrogatepass")
    if representation == Representation.SZZ_STRING:
        pieces: list[str] = []
        at = 0
        while at < len(raw) and raw[at]:
            end = raw.find(b"\0", at)
            end = len(raw) if end < 0 else end
            pieces.append(_text.decode8(raw[at:end]))
            at = end + 1
        return pieces
    return raw


def _string_at(address: Optional[int]) -> Optional[str]:
    return None if not address else _text.decode8(ctypes.string_at(address))


def _entry_from_c(record: EDCT_ENTRY) -> Entry:
    raw = ctypes.string_at(record.Data, record.DataSize) if record.DataSize else b""
    model = None
    if record.Model:
        block = ctypes.string_at(record.Model, MODEL_SIZE)
        model = _text.decode8(block.split(b"\0", 1)[0])
    return Entry(
        content=record.Content,
        value=_decode_value(record.Representation, raw),
        representation=record.Representation,
        pos=record.POS,
        language=_string_at(record.Language),
        model=model,
        engine=_string_at(record.Engine),
    )


def _entries_from_c(array: Any, count: int) -> list[Entry]:
    return [_entry_from_c(array[i]) for i in range(count)]


def _held(keep: list[Any], raw: Optional[bytes]) -> Optional[int]:
    """The address of a NUL-terminated copy of raw, alive as long as keep is."""
    if raw is None:
        return None
    buffer = ctypes.create_string_buffer(raw, len(raw) + 1)
    keep.append(buffer)
    return ctypes.addressof(buffer)


class _Records:
    """EDCT_ENTRY records for a call, with the buffers they point to kept alive."""

    def __init__(self, entries: Iterable[Entry]) -> None:
        entries = list(entries)
        self.keep: list[Any] = []
        self.array = (EDCT_ENTRY * max(len(entries), 1))()
        self.count = len(entries)
        for record, entry in zip(self.array, entries):
            if not isinstance(entry, Entry):
                raise TypeError(f"expected an Entry, not {entry!r}")
            data = entry.data()
            record.Content = int(entry.content)
            record.Representation = int(entry.representation)  # type: ignore[arg-type]
            record.POS = NO_POS if entry.pos is None else entry.pos
            record.Language = _held(self.keep, _text.c_string8(entry.language))
            record.Engine = _held(self.keep, _text.c_string8(entry.engine))
            record.Model = _held(self.keep, None if entry.model is None else _model_block(entry.model))
            record.Data = _held(self.keep, data)
            record.DataSize = len(data)


class _Filter:
    """An EDCT_FILTER for a lookup; none at all when no filter is given."""

    def __init__(
        self,
        content: Optional[int],
        pos: Optional[int],
        language: Optional[str],
        model: Optional[str],
        engine: Optional[str],
    ) -> None:
        self.given = any(v is not None for v in (content, pos, language, model, engine))
        self.keep: list[Any] = []
        self.record = EDCT_FILTER(
            _ANY if content is None else int(content),
            _ANY if pos is None else pos,
            _held(self.keep, _text.c_string8(language)),
            _held(self.keep, None if model is None else _model_block(model)),
            _held(self.keep, _text.c_string8(engine)),
        )

    def pointer(self) -> Any:
        return byref(self.record) if self.given else None


def _key(key: str) -> Any:
    return _text.as_char16_p(_text.to_utf16(key, "a key"))


@dataclass(frozen=True)
class DictionaryInfo:
    name: Optional[str]
    description: Optional[str]
    keys: int  # distinct keys
    entries: int


@dataclass
class WalkItem:
    """One step of a walk: a key in one SubDictionary, with its entries there."""

    key: str
    entries: list[Entry]
    new_section: bool  # the first key of a SubDictionary


@dataclass
class StreamProblem:
    """Where and why reading a text stream stopped."""

    reason: int
    line: int
    column: int
    text: str
    found: str

    def __str__(self) -> str:
        place = f"{self.line}:{self.column}: " if self.line else ""
        found = f" {self.found}" if self.found else ""
        return f"{place}{self.text}{found}"


ImageSource = Union[bytes, bytearray, memoryview, mmap.mmap, str, "os.PathLike[str]"]


def check_image(image: Any) -> None:
    """Raises SpeechCommonError (EDCT_E_CORRUPT) unless the bytes are an archive image of this
    host's byte order whose header, tables and offsets stay within them."""
    with Pinned(image) as pinned:
        check(library().edct_DctCheckImage(pinned.address, pinned.size), "checking the image")


class Dictionary(Owned):
    """An exception dictionary.

    ``Dictionary()`` is a new, empty, writable dictionary; ``Dictionary.open(image)`` a read-only
    view over an archive image held in bytes, an mmap, or a file (mapped), checked before it is
    opened; ``Dictionary.open(image, writable=True)`` a writable copy of one;
    ``Dictionary.from_text(source)`` a writable dictionary read from a text stream.
    """

    _closed_code = "SRVSPI_E_SEC_INVALID_HANDLE"

    def __init__(self) -> None:
        self._open(None, writable=True, label="a writable dictionary")

    def _open(self, pinned: Optional[Pinned], writable: bool, label: str) -> None:
        lib = library()
        handle = SafeHandle()
        image = pinned.address if pinned is not None else None
        mode = _OPEN_WRITABLE if writable else _OPEN_READONLY
        result = lib.edct_DctOpen(null_handle(), image, mode, None, None, byref(handle))
        if failed(result):
            if pinned is not None:
                pinned.release()
            raise SpeechCommonError(result, f"opening {label}")
        self._handle = handle
        self.writable = writable
        self._pinned = pinned if not writable else None
        if writable and pinned is not None:
            pinned.release()  # a writable dictionary copied the image
        self._registrations: set[Any] = set()  # states of the managers it is registered on
        kept = self._pinned

        def release() -> int:
            result = lib.edct_DctClose(handle)
            if not failed(result) and kept is not None:
                kept.release()  # the view is gone: the image may go too
            return result

        state = self._own(label, release)
        registrations = self._registrations

        def leave_managers() -> None:
            for manager in list(registrations):
                if not manager.closed:
                    lib.edct_DctMgrUnregisterDct(manager.handle, handle)
            registrations.clear()

        state.before_final = leave_managers

    @classmethod
    def open(cls, image: ImageSource, writable: bool = False) -> "Dictionary":
        """A dictionary over an archive image: bytes-like, an mmap, or a path (mapped).

        The image is checked first (a damaged one raises SpeechCommonError with
        EDCT_E_CORRUPT). A read-only view reads it in place: the bytes, mmap or
        mapped file are kept (and must not change) until the dictionary is closed; a bytearray
        or other writable buffer is copied, as is an image not aligned to 4 bytes.
        """
        label = "an archive image" if not isinstance(image, (str, os.PathLike)) else os.fspath(image)
        pinned = Pinned.image(image)
        try:
            check(library().edct_DctCheckImage(pinned.address, pinned.size), f"checking {label}")
        except BaseException:
            pinned.release()
            raise
        # An image without sections (a stream without [SubHeader]) has nothing to read in place;
        # it opens as an empty writable dictionary.
        if not writable and ctypes.c_uint32.from_address(pinned.address + 20).value == 0:
            writable = True
        self = cls.__new__(cls)
        self._open(pinned, writable, f"{label} ({'writable copy' if writable else 'read-only'})")
        return self

    @classmethod
    def from_text(cls, source: Union[str, "os.PathLike[str]", BinaryIO, bytes],
                  encoding: Optional[Encoding] = None) -> "Dictionary":
        """A writable dictionary read from a text stream (a path, a binary file or bytes)."""
        self = cls()
        try:
            self.read_text(source, encoding)
        except BaseException:
            self.close()
            raise
        return self

    @property
    def handle(self) -> SafeHandle:
        """The library's handle, for code that calls the C API itself."""
        self._live()
        return self._handle

    # ---- entries -----------------------------------------------------------------------

    def add(self, key: str, *entries: Entry) -> None:
        """Adds entries under a key (never replacing: within a SubDictionary the newest comes
        first in lookups)."""
        self._live()
        records = _Records(entries)
        check(
            library().edct_DctAddEntry(self._handle, _key(key), records.array, records.count),
            f"adding entries under {key!r}",
        )

    def remove(self, key: str) -> None:
        """Removes a key with all its entries."""
        self._live()
        check(library().edct_DctRemoveEntry(self._handle, _key(key)), f"removing {key!r}")

    def lookup(
        self,
        key: str,
        *,
        content: Optional[int] = None,
        pos: Optional[int] = None,
        language: Optional[str] = None,
        model: Optional[str] = None,
        engine: Optional[str] = None,
    ) -> list[Entry]:
        """A key's entries that pass the filters, SubDictionary by SubDictionary. A key with no
        such entry raises SpeechCommonError with EDCT_E_NOT_FOUND; see get()."""
        self._live()
        lib = library()
        selection = _Filter(content, pos, language, model, engine)
        array = POINTER(EDCT_ENTRY)()
        count = c_uint32()
        check(
            lib.edct_DctGetEntryData(self._handle, _key(key), selection.pointer(), byref(array),
                                     byref(count)),
            f"looking up {key!r}",
        )
        try:
            return _entries_from_c(array, count.value)
        finally:
            check(lib.edct_DctFreeEntryData(self._handle, array, count.value), "freeing entries")

    def get(self, key: str, default: Any = None, **filters: Any) -> Any:
        """lookup(), with ``default`` for a key without entries that pass."""
        try:
            return self.lookup(key, **filters)
        except SpeechCommonError as error:
            if error.code == code("EDCT_E_NOT_FOUND"):
                return default
            raise

    def __contains__(self, key: object) -> bool:
        return isinstance(key, str) and self.get(key) is not None

    # ---- walking -----------------------------------------------------------------------

    def walk(self) -> Iterator[WalkItem]:
        """Every key as the library's iterator visits it: SubDictionary by SubDictionary, keys
        in ascending order of their UTF-16 units within each. While a walk is under way the
        dictionary refuses changes (EDCT_E_ITERATOR_OPEN)."""
        for key, entries, new_section in self._walk(_entries_from_c):
            yield WalkItem(key, entries, new_section)

    def _walk(self, convert: Any) -> Iterator[tuple[str, Any, bool]]:
        """The walk with each key's EDCT_ENTRY records handed to convert(array, count), for
        callers that want the records' bytes as they are."""
        self._live()
        lib = library()
        iterator = SafeHandle()
        check(lib.edct_DctItOpen(null_handle(), self._handle, byref(iterator)), "opening an iterator")
        walker = _Walker(iterator, self)
        try:
            ended = c_uint32()
            while True:
                walker._live()
                check(lib.edct_DctItHasEnded(iterator, byref(ended)), "walking")
                if ended.value:
                    return
                key = c_char16_p()
                array = POINTER(EDCT_ENTRY)()
                count = c_uint32()
                new_section = c_uint32()
                check(
                    lib.edct_DctItCurrent(iterator, byref(key), byref(array), byref(count),
                                          byref(new_section)),
                    "walking",
                )
                item = (_text.from_utf16(key) or "", convert(array, count.value),
                        bool(new_section.value))
                check(lib.edct_DctItIncrement(iterator), "walking")
                yield item
        finally:
            walker.close()

    def keys(self) -> list[str]:
        """The distinct keys, in ascending order of their UTF-16 units."""
        return sorted({item.key for item in self.walk()}, key=_unit_order)

    def __iter__(self) -> Iterator[str]:
        return iter(self.keys())

    def items(self) -> Iterator[tuple[str, list[Entry]]]:
        """(key, every entry of the key), in key order."""
        for key in self.keys():
            yield key, self.lookup(key)

    def __len__(self) -> int:
        return self.info.keys

    # ---- name, description, counts -------------------------------------------------------

    @property
    def info(self) -> DictionaryInfo:
        self._live()
        lib = library()
        record = EDCT_INFO()
        check(lib.edct_DctGetInfo(self._handle, byref(record)), "reading the dictionary's info")
        try:
            return DictionaryInfo(
                _text.from_utf16(record.Name),
                _text.from_utf16(record.Description),
                record.NbrKeys,
                record.NbrEntries,
            )
        finally:
            check(lib.edct_DctFreeInfo(self._handle, byref(record)), "freeing the info")

    def set_info(self, name: Optional[str], description: Optional[str]) -> None:
        """Sets the name and description (None: none)."""
        self._live()
        keep = [None if text is None else _text.to_utf16(text) for text in (name, description)]
        record = EDCT_INFO(*(None if k is None else _text.as_char16_p(k) for k in keep), 0, 0)
        check(library().edct_DctSetInfo(self._handle, byref(record)), "setting the info")

    # ---- archive images ----------------------------------------------------------------

    def archive(self, swap: bool = False) -> bytes:
        """The archive image of a writable dictionary (``swap``: for a host of the other byte
        order, where this host cannot open it)."""
        self._live()
        lib = library()
        size = c_uint32()
        check(lib.edct_DctArchive(self._handle, None, byref(size), int(swap)), "measuring the image")
        buffer = (ctypes.c_uint32 * (size.value // 4 + 1))()
        size.value = ctypes.sizeof(buffer)
        check(lib.edct_DctArchive(self._handle, buffer, byref(size), int(swap)), "writing the image")
        return ctypes.string_at(buffer, size.value)

    # ---- text streams ------------------------------------------------------------------

    def read_text(self, source: Union[str, "os.PathLike[str]", BinaryIO, bytes],
                  encoding: Optional[Encoding] = None) -> None:
        """Adds the entries of a text stream: a path, a binary file object or bytes. Without
        ``encoding`` a byte-order mark says UCS-2 and its order, else UTF-8 (a UTF-8 mark is
        skipped). A stream the reader refuses raises SpeechCommonError whose ``problem`` says
        where; the entries read before it stay."""
        self._live()
        if isinstance(source, (bytes, bytearray, memoryview)):
            self._read_stream(io.BytesIO(bytes(source)), encoding, "a text stream")
        elif isinstance(source, (str, os.PathLike)):
            with open(source, "rb") as stream:
                self._read_stream(stream, encoding, os.fspath(source))
        else:
            _require_binary(source)
            self._read_stream(source, encoding, getattr(source, "name", "a text stream"))

    def _read_stream(self, stream: IO[bytes], encoding: Optional[Encoding],
                     label: str) -> StreamProblem:
        """Reads the stream; returns the reader's diagnostic (line 0 when it has nothing to
        say), and raises it with the code when the reader refuses the stream."""
        lib = library()
        head = _read_some(stream, 3)
        if encoding is None:
            encoding = ("ucs2le" if head.startswith(b"\xff\xfe") else
                        "ucs2be" if head.startswith(b"\xfe\xff") else "utf8")
            if encoding == "utf8" and head == b"\xef\xbb\xbf":
                head = b""
        elif encoding in ("ucs2le", "ucs2be"):
            mark = b"\xff\xfe" if encoding == "ucs2le" else b"\xfe\xff"
            if not head.startswith(mark):
                head = mark + head  # the reader wants the mark; a stream named by its order may lack it
        if encoding not in _FORMATS:
            raise ValueError(f"unknown encoding {encoding!r}: use utf8, ucs2le or ucs2be")
        pending = bytearray(head)
        failure: list[BaseException] = []

        def read(_user: Any, buffer: int, count: Any) -> int:
            try:
                wanted = count[0]
                if len(pending) < wanted:
                    pending.extend(_read_some(stream, wanted - len(pending)))
                chunk = bytes(pending[:wanted])
                del pending[:wanted]
                ctypes.memmove(buffer, chunk, len(chunk))
                count[0] = len(chunk)
                return 0
            except BaseException as error:  # handed back to the caller once the library returns
                failure.append(error)
                return 1

        callback = EDCT_READSTREAM_FN(read)
        diagnostic = EDCT_STREAM_DIAGNOSTIC()
        result = lib.edct_DctReadStreamEx(self._handle, callback, _FORMATS[encoding], None,
                                          byref(diagnostic))
        problem = StreamProblem(
            diagnostic.Reason, diagnostic.Line, diagnostic.Column,
            (diagnostic.Text or b"").decode("utf-8", "replace"),
            _text.decode8(diagnostic.Found),
        )
        if failed(result):
            error = SpeechCommonError(result, f"reading {label}", str(problem))
            error.problem = problem  # type: ignore[attr-defined]
            if failure:
                raise error from failure[0]
            raise error
        return problem

    def write_text(self, target: Union[str, "os.PathLike[str]", BinaryIO],
                   encoding: Encoding = "utf8") -> None:
        """Writes the dictionary as a text stream to a path or a binary file object."""
        self._live()
        if isinstance(target, (str, os.PathLike)):
            with open(target, "wb") as stream:
                self._write_stream(stream, encoding, os.fspath(target))
        else:
            _require_binary(target)
            self._write_stream(target, encoding, getattr(target, "name", "a text stream"))

    def to_text(self, encoding: Encoding = "utf8") -> bytes:
        """The text stream as bytes."""
        out = io.BytesIO()
        self.write_text(out, encoding)
        return out.getvalue()

    def _write_stream(self, stream: IO[bytes], encoding: Encoding, label: str) -> None:
        if encoding not in _FORMATS:
            raise ValueError(f"unknown encoding {encoding!r}: use utf8, ucs2le or ucs2be")
        lib = library()
        # The library writes 16-bit streams in the host's order; the other order is swapped here,
        # a unit at a time, so a unit split between two blocks waits for its second byte.
        swap = encoding in ("ucs2le", "ucs2be") and encoding != _HOST_16
        fmt = _FORMATS[_HOST_16] if swap else _FORMATS[encoding]
        odd = bytearray()
        failure: list[BaseException] = []

        def write(_user: Any, buffer: int, count: int) -> int:
            try:
                chunk = ctypes.string_at(buffer, count)
                if swap:
                    odd.extend(chunk)
                    whole = len(odd) - len(odd) % 2
                    units = bytearray(odd[:whole])
                    units[0::2], units[1::2] = units[1::2], units[0::2]
                    del odd[:whole]
                    chunk = bytes(units)
                stream.write(chunk)
                return 0
            except BaseException as error:
                failure.append(error)
                return 1

        callback = EDCT_WRITESTREAM_FN(write)
        result = lib.edct_DctWriteStream(self._handle, callback, fmt, None)
        if failed(result):
            error = SpeechCommonError(result, f"writing {label}")
            if failure:
                raise error from failure[0]
            raise error

    def __repr__(self) -> str:
        state = "closed" if self.closed else ("writable" if self.writable else "read-only")
        return f"<speechcommon.Dictionary {state}>"


class _Walker(Owned):
    """The library iterator behind one walk; closed when the walk ends or its dictionary does."""

    _closed_code = "SRVSPI_E_SEC_INVALID_HANDLE"

    def __init__(self, handle: SafeHandle, dictionary: Dictionary) -> None:
        lib = library()
        self._own("an iterator", lambda: lib.edct_DctItClose(handle), dictionary)


def _unit_order(key: str) -> bytes:
    return key.encode("utf-16-be", "surrogatepass")


def _read_some(stream: IO[bytes], count: int) -> bytes:
    data = stream.read(count)
    if data is None:
        return b""
    if isinstance(data, str):
        raise TypeError("text streams are read from binary files (open them with 'rb')")
    return bytes(data)


def _require_binary(stream: Any) -> None:
    if isinstance(stream, io.TextIOBase):
        raise TypeError("text streams go through binary files (open them with 'rb' or 'wb')")


# ---- managers ----------------------------------------------------------------------------


@dataclass
class Answer:
    """A manager's answer: the entries, and the dictionary that gave them."""

    entries: list[Entry]
    dictionary: Dictionary


class DictionaryManager(Owned):
    """Searches registered dictionaries in order: the first holding entries of a key that pass
    the filters answers with all of them. Higher priorities are searched first; among equal
    ones, the one registered first."""

    _closed_code = "SRVSPI_E_SEC_INVALID_HANDLE"

    def __init__(self) -> None:
        lib = library()
        handle = SafeHandle()
        check(lib.edct_DctMgrOpen(null_handle(), byref(handle)), "opening a dictionary manager")
        self._handle = handle
        self._registered: list[tuple[Dictionary, int]] = []
        registered = self._registered

        def release() -> int:
            result = lib.edct_DctMgrClose(handle)  # unregisters them all
            if not failed(result):
                for dictionary, _ in registered:
                    dictionary._registrations.discard(state)
                registered.clear()
            return result

        state = self._own("a dictionary manager", release)
        state.handle = handle  # type: ignore[attr-defined]

    def register(self, dictionary: Dictionary, priority: int = 0) -> None:
        self._live()
        dictionary._live()
        lib = library()
        check(lib.edct_DctMgrRegisterDct(self._handle, dictionary._handle, 0), "registering a dictionary")
        self._registered.append((dictionary, priority))
        dictionary._registrations.add(self._state)
        # Stable: equal priorities keep the order of registration.
        wanted = sorted(self._registered, key=lambda pair: -pair[1])
        if [d for d, _ in wanted] != self.dictionaries:
            for other, _ in reversed(wanted):
                check(lib.edct_DctMgrPromoteDct(self._handle, other._handle), "ordering dictionaries")
        self._registered[:] = wanted

    def unregister(self, dictionary: Dictionary) -> None:
        self._live()
        check(library().edct_DctMgrUnregisterDct(self._handle, dictionary._handle),
              "unregistering a dictionary")
        self._registered[:] = [pair for pair in self._registered if pair[0] is not dictionary]
        dictionary._registrations.discard(self._state)

    @property
    def dictionaries(self) -> list[Dictionary]:
        """The registered dictionaries in search order, as the manager lists them."""
        self._live()
        lib = library()
        count = c_uint32()
        check(lib.edct_DctMgrGetRegisteredDcts(self._handle, None, byref(count)), "listing")
        handles = (SafeHandle * max(count.value, 1))()
        check(lib.edct_DctMgrGetRegisteredDcts(self._handle, handles, byref(count)), "listing")
        return [self._owner(handles[i]) for i in range(count.value)]

    def _owner(self, handle: SafeHandle) -> Dictionary:
        for dictionary, _ in self._registered:
            if dictionary._handle.pointer == handle.pointer:
                return dictionary
        raise SpeechCommonError(code("EDCT_E_NOT_REGISTERED"), "finding the answering dictionary")

    def lookup(
        self,
        key: str,
        *,
        content: Optional[int] = None,
        pos: Optional[int] = None,
        language: Optional[str] = None,
        model: Optional[str] = None,
        engine: Optional[str] = None,
    ) -> Answer:
        """The entries of the first dictionary that has some passing the filters; a key that
        none has raises SpeechCommonError with EDCT_E_NOT_FOUND (see get())."""
        self._live()
        lib = library()
        selection = _Filter(content, pos, language, model, engine)
        array = POINTER(EDCT_ENTRY)()
        count = c_uint32()
        source = SafeHandle()
        check(
            lib.edct_DctMgrGetEntryData(self._handle, _key(key), selection.pointer(), byref(array),
                                        byref(count), byref(source)),
            f"looking up {key!r}",
        )
        try:
            return Answer(_entries_from_c(array, count.value), self._owner(source))
        finally:
            check(lib.edct_DctFreeEntryData(source, array, count.value), "freeing entries")

    def get(self, key: str, default: Any = None, **filters: Any) -> Any:
        try:
            return self.lookup(key, **filters)
        except SpeechCommonError as error:
            if error.code == code("EDCT_E_NOT_FOUND"):
                return default
            raise


__all__ = [
    "Answer",
    "Content",
    "Dictionary",
    "DictionaryInfo",
    "DictionaryManager",
    "Encoding",
    "Entry",
    "Representation",
    "StreamProblem",
    "WalkItem",
    "check_image",
]
