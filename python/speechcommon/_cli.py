"""What the dictionary commands of python3 -m speechcommon share: the failure that ends a command,
opening a DICT argument, the reader's diagnostics as the tool words them, and entries as the
records' own bytes (the tool prints what a dictionary holds, not what Python makes of it)."""

from __future__ import annotations

import ctypes
import io
import sys
from dataclasses import dataclass
from typing import Any, Iterator, Optional

from .dictionary import Dictionary, StreamProblem
from .errors import SpeechCommonError, code

PROGRAM = "speechcommon"
IMAGE_FORMAT = 3  # the first word of an archive image, in host order
SWAPPED_IMAGE_FORMAT = 0x03000000
MODEL_SIZE = 128
CONTENT_NAMES = ("broad-narrows", "userwords", "orthographic")
REPRESENTATION_NAMES = ("szz", "binary", "sz", "wsz")
BROAD_NARROWS, USERWORDS, ORTHOGRAPHIC = 0, 1, 2
SZZ_STRING, BINARY, SZ_STRING, WSZ_STRING = 0, 1, 2, 3
_STREAM_KINDS = {"utf8": "UTF-8", "ucs2le": "UCS-2 little-endian", "ucs2be": "UCS-2 big-endian"}
_WIDE = "utf-16-le" if sys.byteorder == "little" else "utf-16-be"

# Reasons the text reader gives, for the hint at what it would have taken.
_UNKNOWN_SECTION, _UNKNOWN_KEY, _UNKNOWN_CONTENT, _UNKNOWN_REPRESENTATION = 3, 4, 6, 7
_KEYS = ("Name", "Description", "Language", "Engine", "Model", "Content", "Representation", "POS",
         "NbrSubDct")


class Failure(Exception):
    """A command that cannot go on: its message is printed and the status is 1."""


# ---- text as the tool has it -------------------------------------------------------------
# The tool handles 8-bit text as bytes and prints them as they are. Here such text is a str
# decoded with surrogateescape, so bytes that are no UTF-8 come out again unchanged.


def from_bytes(raw: bytes) -> str:
    return raw.decode("utf-8", "surrogateescape")


def to_bytes(text: str) -> bytes:
    return text.encode("utf-8", "surrogateescape")


def from_units(text: str) -> str:
    """A str read from UTF-16 units with a surrogate lacking its partner turned into U+FFFD."""
    return text.encode("utf-16-le", "surrogatepass").decode("utf-16-le", "replace")


def for_json(text: str) -> str:
    """Bytes that are no UTF-8 become U+FFFD, as the tool's JSON writer replaces them."""
    return to_bytes(text).decode("utf-8", "replace")


def _decode_one(raw: bytes, at: int) -> tuple[int, bool]:
    """Where the character at `at` ends, and whether it is malformed (a piece that breaks off
    counts as one character, as far as it went)."""
    lead = raw[at]
    at += 1
    if lead < 0x80:
        return at, False
    low, high = 0x80, 0xBF
    if 0xC2 <= lead <= 0xDF:
        length = 2
    elif 0xE0 <= lead <= 0xEF:
        length = 3
        low = 0xA0 if lead == 0xE0 else low
        high = 0x9F if lead == 0xED else high
    elif 0xF0 <= lead <= 0xF4:
        length = 4
        low = 0x90 if lead == 0xF0 else low
        high = 0x8F if lead == 0xF4 else high
    else:
        return at, True
    for k in range(1, length):
        if at == len(raw):
            return at, True
        following = raw[at]
        if following < (low if k == 1 else 0x80) or following > (high if k == 1 else 0xBF):
            return at, True
        at += 1
    return at, False


def characters(text: str) -> int:
    """Characters in the text as a column counts them."""
    raw = to_bytes(text)
    count = at = 0
    while at < len(raw):
        at, _ = _decode_one(raw, at)
        count += 1
    return count


def quoted(text: str) -> str:
    return f'"{text}"'


def write_out(text: str) -> None:
    sys.stdout.flush()
    sys.stdout.buffer.write(to_bytes(text))
    sys.stdout.buffer.flush()


def write_err(text: str) -> None:
    sys.stderr.flush()
    sys.stderr.buffer.write(to_bytes(text))
    sys.stderr.buffer.flush()


# ---- files -------------------------------------------------------------------------------


def read_file(path: str) -> bytes:
    if path == "-":
        return sys.stdin.buffer.read()
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError as error:
        raise Failure(f"{path}: cannot open: {error.strerror}") from error


def word(data: bytes, at: int) -> int:
    """The 32-bit word at a byte offset in host order, 0 beyond the end."""
    return int.from_bytes(data[at:at + 4], sys.byteorder) if len(data) >= at + 4 else 0


def write_output(path: str, data: bytes) -> None:
    if path == "-":
        sys.stdout.flush()
        sys.stdout.buffer.write(data)
        sys.stdout.buffer.flush()
        return
    try:
        with open(path, "wb") as file:
            file.write(data)
    except OSError as error:
        raise Failure(f"{path}: cannot write: {error.strerror}") from error


def describe(error: SpeechCommonError) -> str:
    named = f"{error.name} 0x{error.code:08X}" if error.name else f"0x{error.code:08X}"
    message = (error.message or "").strip()
    return f"{named}: {message}" if message else named


def counts(dictionary: Dictionary) -> str:
    info = dictionary.info
    return f"{info.keys} keys, {info.entries} entries"


# ---- text streams ------------------------------------------------------------------------


@dataclass
class StreamFormat:
    """The encoding a stream is read in (the one asked for, else its byte-order mark's), and
    the bytes for the reader: a UTF-8 mark is skipped, since the reader would take it as text."""

    encoding: str
    body: bytes
    prefixed: bool = False  # a 16-bit stream without its mark (the reader is given one)
    utf8_mark: bool = False


def detect_format(data: bytes, encoding: Optional[str]) -> StreamFormat:
    le, be = data.startswith(b"\xff\xfe"), data.startswith(b"\xfe\xff")
    if encoding == "ucs2le" or (encoding is None and le):
        return StreamFormat("ucs2le", data, prefixed=not le)
    if encoding == "ucs2be" or (encoding is None and be):
        return StreamFormat("ucs2be", data, prefixed=not be)
    if data.startswith(b"\xef\xbb\xbf"):
        return StreamFormat("utf8", data[3:], utf8_mark=True)
    return StreamFormat("utf8", data)


def read_stream(dictionary: Dictionary, stream: StreamFormat) -> StreamProblem:
    """Reads the stream into the dictionary; returns the reader's diagnostic. A refused stream
    raises SpeechCommonError whose `problem` is the diagnostic."""
    return dictionary._read_stream(io.BytesIO(stream.body), stream.encoding, "a text stream")  # type: ignore[arg-type]


def _hint(problem: StreamProblem) -> str:
    if problem.reason == _UNKNOWN_KEY:
        for key in _KEYS:
            if fold_ascii(key) == fold_ascii(problem.found):
                return f"; did you mean {key}?"
        return ("; the keys are Name, Description, Language, Engine, Model, Content, "
                "Representation, POS and NbrSubDct")
    if problem.reason == _UNKNOWN_SECTION:
        return "; the sections are [Header], [SubHeader] and [Data]"
    if problem.reason == _UNKNOWN_CONTENT:
        return ("; expected EDCT_CONTENT_BROAD_NARROWS, EDCT_CONTENT_USERWORDS or "
                "EDCT_CONTENT_ORTHOGRAPHIC")
    if problem.reason == _UNKNOWN_REPRESENTATION:
        return ("; expected EDCT_REPR_SZZ_STRING, EDCT_REPR_BINARY, EDCT_REPR_SZ_STRING or "
                "EDCT_REPR_WSZ_STRING")
    return ""


def explained(problem: StreamProblem) -> str:
    """What the reader says, with a hint at what it would have taken."""
    found = f" {problem.found}" if problem.found else ""
    return f"{problem.text}{found}{_hint(problem)}"


def located(path: str, problem: StreamProblem) -> str:
    if not problem.line:
        return f"{path}: {explained(problem)}"
    return f"{path}:{problem.line}:{problem.column}: {explained(problem)}"


class DictFile:
    """A DICT argument: an archive image (read in place unless a writable copy is wanted) or a
    text stream, from a path or '-' (standard input)."""

    def __init__(self, path: str, encoding: Optional[str], writable: bool) -> None:
        self.path = path
        self.image = False  # an archive image, not a text stream
        data = read_file(path)
        if word(data, 0) == IMAGE_FORMAT:
            recorded = word(data, 4)
            try:
                self.dictionary = Dictionary.open(data if path == "-" else path, writable=writable)
            except SpeechCommonError as error:
                what = "truncated archive image" if recorded > len(data) else (
                    "cannot open the archive image")
                raise Failure(f"{path}: {what}: {describe(error)}") from error
            in_place = "" if self.dictionary.writable else ", read in place"
            self.kind = f"archive image, {recorded} bytes{in_place}"
            self.image = True
            return
        if word(data, 0) == SWAPPED_IMAGE_FORMAT:
            corrupt = SpeechCommonError(code("EDCT_E_CORRUPT"))
            raise Failure(f"{path}: archive image for a host of the other byte order (compile it "
                          f"without --swap to use it here): {describe(corrupt)}")
        stream = detect_format(data, encoding)
        self.kind = f"{_STREAM_KINDS[stream.encoding]} text stream"
        self.dictionary = Dictionary()
        try:
            read_stream(self.dictionary, stream)
        except SpeechCommonError as error:
            self.dictionary.close()
            problem = getattr(error, "problem", None)
            place = located(path, problem) if problem is not None else path
            raise Failure(f"{place} ({describe(error)})") from error

    def close(self) -> None:
        self.dictionary.close()


# ---- entries as their records hold them --------------------------------------------------


@dataclass
class Record:
    """One entry with its attributes and data as the dictionary holds them."""

    content: int
    representation: int
    language: Optional[str]  # the tool's text (see from_bytes)
    model: Optional[str]  # the block up to its NUL
    engine: Optional[str]
    data: bytes
    pos: int = 0xFFFFFFFF
    model_block: Optional[bytes] = None  # the whole block, text, NUL and what follows


def _c_text(address: Optional[int], limit: Optional[int] = None) -> Optional[str]:
    if not address:
        return None
    raw = ctypes.string_at(address) if limit is None else ctypes.string_at(address, limit)
    return from_bytes(raw.split(b"\0", 1)[0])


def _records(array: Any, count: int) -> list[Record]:
    out = []
    for i in range(count):
        c = array[i]
        out.append(Record(c.Content, c.Representation, _c_text(c.Language),
                          _c_text(c.Model, MODEL_SIZE), _c_text(c.Engine),
                          ctypes.string_at(c.Data, c.DataSize) if c.DataSize else b"",
                          c.POS, ctypes.string_at(c.Model, MODEL_SIZE) if c.Model else None))
    return out


def walk_records(dictionary: Dictionary) -> Iterator[tuple[str, list[Record], bool]]:
    """Every key (its text as the tool prints it), its records and whether a section begins."""
    for key, records, new_section in dictionary._walk(_records):
        yield from_units(key), records, new_section


def content_name(content: int) -> str:
    return CONTENT_NAMES[content] if 0 <= content < 3 else f"content {content}"


def broad_narrows(record: Record) -> list[str]:
    """The pieces of a list of strings, up to its closing NUL."""
    pieces, data, at = [], record.data, 0
    while at < len(data) and data[at]:
        end = data.find(b"\0", at)
        end = len(data) if end < 0 else end
        pieces.append(from_bytes(data[at:end]))
        at = end + 1
    return pieces


def orthographic_text(record: Record) -> str:
    if record.representation == SZ_STRING:
        return from_bytes(record.data.split(b"\0", 1)[0])
    units = record.data[: len(record.data) // 2 * 2]
    for i in range(0, len(units), 2):
        if units[i] == 0 and units[i + 1] == 0:
            units = units[:i]
            break
    return units.decode(_WIDE, "replace")


def data_text(record: Record) -> str:
    """//a//b for a list of strings, the quoted text of a spelling, "bytes 0A 1B" otherwise."""
    if record.content == BROAD_NARROWS and record.representation == SZZ_STRING:
        return "".join("//" + piece for piece in broad_narrows(record)) or "(empty list)"
    if record.content == ORTHOGRAPHIC and record.representation in (SZ_STRING, WSZ_STRING):
        return quoted(orthographic_text(record))
    return "bytes " + " ".join(f"{byte:02X}" for byte in record.data)


def has_extension(path: str, extension: str) -> bool:
    """Whether the name ends in the extension, ignoring ASCII case."""
    return fold_ascii(path).endswith(extension)


def fold_ascii(text: str) -> str:
    return "".join(chr(ord(c) + 32) if "A" <= c <= "Z" else c for c in text)
