"""What a dictionary's text form can carry, as the tool judges it: the check that decompile runs
before it writes anything (and dict check runs on an archive image), the copy that text is written
from so that each key's records read back in their order, and the archive image that a lexicon
without entries does not get."""

from __future__ import annotations

import ctypes
from typing import Callable, Iterator, Optional

from . import _cli
from ._cli import Failure, Record, from_units, to_bytes
from ._library import EDCT_ENTRY, EDCT_INFO, SafeHandle, c_char16_p, library, null_handle
from .dictionary import Dictionary
from .errors import SpeechCommonError, code

NO_POS = 0xFFFFFFFF
IMAGE_HEADER = 24  # its last word counts the sections
NOT_UNITS = ("is not UTF-8 of one to three bytes a character, and comes back from 16-bit units "
             "as other bytes")


# ---- text in messages ----------------------------------------------------------------------


def _printable(character: str) -> bool:
    point = ord(character)
    if point < 0x80:
        return 0x20 <= point < 0x7F
    return character.isprintable()


def shown(text: str) -> str:
    """Text in quotes with line ends, tabs, quotes, backslashes and what does not print escaped;
    a byte that is no UTF-8 (a surrogate escape here) as \\xNN."""
    out = ['"']
    for character in text:
        point = ord(character)
        if character in "\n\r\t":
            out.append({"\n": "\\n", "\r": "\\r", "\t": "\\t"}[character])
        elif character in '"\\':
            out.append("\\" + character)
        elif 0xDC80 <= point <= 0xDCFF:
            out.append(f"\\x{point - 0xDC00:02x}")
        elif _printable(character):
            out.append(character)
        elif point < 0x100:
            out.append(f"\\x{point:02x}")
        elif point < 0x10000:
            out.append(f"\\u{point:04x}")
        else:
            out.append(f"\\U{point:08x}")
    out.append('"')
    return "".join(out)


# ---- how the reader takes text back --------------------------------------------------------


def _blank(character: str) -> bool:
    return character in " \t"


def unwritable(text: str, quote_mode: bool = False) -> Optional[str]:
    """Why the reader would not give the value back as it is, or None. Every value loses a
    carriage return and the blanks at its ends, and an empty one takes the next line's text in
    its place. A line feed ends a value, except in quotes, where only a leading one is trimmed;
    the writer puts quotes around a key or an orthographic text that holds a blank."""
    if not text:
        return "is empty: the text that follows is read in its place"
    if "\r" in text:
        return "holds a carriage return, which is dropped"
    in_quotes = quote_mode and " " in text
    if not in_quotes and "\n" in text:
        return "holds a line feed, which ends it"
    if _blank(text[0]) or _blank(text[-1]):
        return "has blanks at its ends, which are trimmed"
    if text[0] == "\n":
        return "begins with a line feed, which is trimmed"
    return None


def survives_units(text: str) -> bool:
    """Whether 8-bit text comes back as it was through 16-bit units: each unit is one to three
    bytes, so a four-byte form, an overlong one, a stray continuation byte or a sequence cut
    short comes back as other bytes."""
    raw = to_bytes(text)

    def byte(at: int) -> int:
        return raw[at] if at < len(raw) else 0

    def follows(at: int) -> bool:
        return (byte(at) & 0xC0) == 0x80

    at = 0
    while at < len(raw):
        lead = raw[at]
        if lead < 0x80:
            at += 1
        elif 0xC2 <= lead <= 0xDF and follows(at + 1):
            at += 2
        elif (0xE0 <= lead <= 0xEF and follows(at + 1) and follows(at + 2)
              and (lead != 0xE0 or byte(at + 1) >= 0xA0)):
            at += 3
        else:
            return False
    return True


def _paired(record: Record) -> bool:
    """Whether the content comes in a representation the text form writes."""
    if record.content == _cli.BROAD_NARROWS:
        return record.representation == _cli.SZZ_STRING
    if record.content == _cli.USERWORDS:
        return record.representation == _cli.BINARY
    if record.content == _cli.ORTHOGRAPHIC:
        return record.representation in (_cli.SZ_STRING, _cli.WSZ_STRING)
    return False


def _read_back_size(record: Record) -> int:
    """The bytes of an orthographic entry as the reader gives them back: text and terminator."""
    data = record.data
    if record.representation == _cli.SZ_STRING:
        end = data.find(b"\0")
        return (len(data) if end < 0 else end) + 1
    units = 0
    while 2 * units + 1 < len(data) and (data[2 * units] or data[2 * units + 1]):
        units += 1
    return 2 * (units + 1)


def _representation_name(representation: int) -> str:
    return (_cli.REPRESENTATION_NAMES[representation] if 0 <= representation < 4
            else f"representation {representation}")


class TextFormCheck:
    """The losses of a dictionary walked key by key in iterator order."""

    def __init__(self, sixteen: bool, lost: Callable[[str], None]) -> None:
        self.sixteen = sixteen  # 8-bit data goes out as 16-bit units
        self.lost = lost
        self.earlier = {"Language": False, "Engine": False, "Model": False}
        self.sections: set[tuple] = set()
        self.last: Optional[str] = None  # the key before, in this section

    def header(self, name: Optional[str], description: Optional[str]) -> None:
        for label, value in (("Name", name), ("Description", description)):
            if value is not None:
                why = unwritable(value)
                if why:
                    self.lost(f"the {label} {shown(value)} {why}")

    def key(self, key: str, first: Record, section_starts: bool) -> None:
        """A key and the first of its records; the section's attributes where it begins."""
        def lose(what: str) -> None:
            self.lost(f"key {shown(key)}: {what}")

        if section_starts:
            self._section(first, lose)
            self.last = None
        why = unwritable(key, True)
        if why:
            lose(f"the key {why}")
        elif "\t" in key and " " not in key:
            lose("a key with a tab and no blank is written without quotes, and the tab ends it")
        elif key == "[SubHeader]":
            lose("the key [SubHeader] is written without quotes, and then ends its section")
        elif self.last == key:
            lose("the key comes twice in its section: read back, its entries join under one key")
        self.last = key

    def entry(self, key: str, record: Record) -> None:
        def lose(what: str) -> None:
            self.lost(f"key {shown(key)}: {what}")

        if not _paired(record):
            return  # said where the section begins
        if record.content == _cli.BROAD_NARROWS:
            self._list(record, lose)
        elif record.content == _cli.ORTHOGRAPHIC:
            text = _cli.orthographic_text(record)
            why = unwritable(text, True)
            if why:
                lose(f"the data {shown(text)} {why}")
            elif len(record.data) != _read_back_size(record):
                lose("the data is not one string with its terminator: the text form carries it "
                     "up to its first NUL")
            elif self._narrow(record) and not survives_units(text):
                lose(f"the data {shown(text)} {NOT_UNITS} (write the text stream as UTF-8)")
        elif not record.data:
            lose(f"the data {unwritable('')}")

    def _narrow(self, record: Record) -> bool:
        return self.sixteen and record.representation != _cli.WSZ_STRING

    def _section(self, record: Record, lose: Callable[[str], None]) -> None:
        """What the entries of a section share, written once in its [SubHeader]."""
        if not _paired(record):
            lose(f"a section of {_cli.content_name(record.content)} entries in representation "
                 f"{_representation_name(record.representation)} has no text form")
        if record.pos != NO_POS:
            lose(f"POS {record.pos} is not written: the section's entries read back without one, "
                 "in another section")
        self._attribute("Language", record.language, lose)
        self._attribute("Engine", record.engine, lose)
        if record.model_block is not None:
            # The reader makes the block of the text, a NUL and blanks.
            size = len(to_bytes(record.model or ""))
            if size < len(record.model_block) and record.model_block[size + 1:].strip(b" "):
                lose("the Model block holds more than its text: the text form gives back the "
                     "text, a NUL and blanks")
        self._attribute("Model", record.model, lose)
        # Sections are told apart by their attributes alone: two alike (an image can hold them)
        # read back as one.
        same = (record.content, record.representation, record.pos, record.language,
                record.engine, record.model_block)
        if same in self.sections:
            lose("an earlier section has the same attributes: read back, the two are one")
        self.sections.add(same)

    def _attribute(self, name: str, value: Optional[str], lose: Callable[[str], None]) -> None:
        """An attribute is written when present, as 8-bit text read back through 16-bit units;
        a section that lacks it keeps the value of an earlier one."""
        if value is not None:
            why = unwritable(value)
            if why:
                lose(f"the {name} {shown(value)} {why}")
            elif not survives_units(value):
                lose(f"the {name} {shown(value)} {NOT_UNITS}")
        elif self.earlier[name]:
            lose(f"the section has no {name}, but an earlier one has: it reads back with that "
                 "one's")
        self.earlier[name] = self.earlier[name] or value is not None

    def _list(self, record: Record, lose: Callable[[str], None]) -> None:
        """A list goes out as //piece//piece up to its first empty piece; the reader trims the
        line and cuts it at every "//"."""
        pieces = _cli.broad_narrows(record)
        if not pieces:
            lose(f"the list is empty or begins with an empty piece: its data {unwritable('')}")
            return
        size = 1 + sum(len(to_bytes(piece)) + 1 for piece in pieces)
        line = "".join("//" + piece for piece in pieces)
        if size < len(record.data):
            lose(f"an empty piece in the list: the text form ends it there, at {shown(line)}")
        elif size > len(record.data):
            lose("the list lacks its closing NUL")
        if "\r" in line or "\n" in line:
            lose("a piece of the list holds a line end")
            return
        if self._narrow(record) and not survives_units(line):
            lose(f"the list {shown(line)} {NOT_UNITS} (write the text stream as UTF-8)")
        if line.rstrip(" \t").split("//")[1:] != pieces:
            lose(f"the list {shown(line)} reads back as other pieces")


def text_form_losses(dictionary: Dictionary, encoding: Optional[str],
                     lost: Callable[[str], None]) -> None:
    """Walks the dictionary for what its text stream in `encoding` (UTF-8 unless a 16-bit one is
    named) would not give back, calling `lost` with one sentence for each. Raises
    SpeechCommonError when the library fails."""
    check = TextFormCheck(encoding in ("ucs2le", "ucs2be"), lost)
    name, description = _raw_info(dictionary)
    check.header(name, description)
    for key, records, section_starts in _cli.walk_records(dictionary):
        if not records:
            continue  # nothing of it is written
        check.key(key, records[0], section_starts)
        for record in records:
            check.entry(key, record)


def _raw_info(dictionary: Dictionary) -> tuple[Optional[str], Optional[str]]:
    """The name and description as the tool prints them."""
    info = dictionary.info
    return tuple(None if value is None else from_units(value)  # type: ignore[return-value]
                 for value in (info.name, info.description))


# ---- writing -------------------------------------------------------------------------------


def _raw_walk(dictionary: Dictionary) -> Iterator[tuple[c_char16_p, ctypes.Array, int]]:
    """Each key's units and records as the iterator holds them, valid until the next step."""
    lib = library()
    iterator = SafeHandle()
    result = lib.edct_DctItOpen(null_handle(), dictionary.handle, ctypes.byref(iterator))
    if result:
        raise SpeechCommonError(result, "opening an iterator")
    try:
        ended = ctypes.c_uint32()
        while True:
            result = lib.edct_DctItHasEnded(iterator, ctypes.byref(ended))
            if result or ended.value:
                break
            key = c_char16_p()
            array = ctypes.POINTER(EDCT_ENTRY)()
            count = ctypes.c_uint32()
            new_section = ctypes.c_uint32()
            result = lib.edct_DctItCurrent(iterator, ctypes.byref(key), ctypes.byref(array),
                                           ctypes.byref(count), ctypes.byref(new_section))
            if result:
                break
            yield key, array, count.value
            result = lib.edct_DctItIncrement(iterator)
            if result:
                break
    finally:
        closed = lib.edct_DctItClose(iterator)
    if result or closed:
        raise SpeechCommonError(result or closed, "walking")


def reversed_copy(dictionary: Dictionary, path: str) -> Dictionary:
    """A writable copy whose keys hold their records in the opposite order. Each record read
    from text goes in front of those read before it, so text written from the copy reads back
    with the records in the original's order."""
    lib = library()
    copy = Dictionary()
    try:
        info = EDCT_INFO()
        result = lib.edct_DctGetInfo(dictionary.handle, ctypes.byref(info))
        if not result:
            result = lib.edct_DctSetInfo(copy.handle, ctypes.byref(info))
            lib.edct_DctFreeInfo(dictionary.handle, ctypes.byref(info))
        added = 0
        if not result:
            try:
                for key, array, count in _raw_walk(dictionary):
                    if not added:
                        added = lib.edct_DctAddEntry(copy.handle, key, array, count)
            except SpeechCommonError as error:
                result = error.code
        if result or added:
            error = SpeechCommonError(result or added, "copying")
            raise Failure(f"{path}: cannot copy it for writing: {_cli.describe(error)}")
    except BaseException:
        copy.close()
        raise
    return copy


def text_stream(dictionary: Dictionary, encoding: str, path: str) -> bytes:
    """The text stream of a dictionary, written from its reversed copy."""
    copy = reversed_copy(dictionary, path)
    try:
        return copy.to_text(encoding)
    except SpeechCommonError as error:
        raise Failure(f"{path}: cannot write the text stream: {_cli.describe(error)}") from error
    finally:
        copy.close()


def archive_image(dictionary: Dictionary, swap: bool, path: str) -> bytes:
    """The archive image; a lexicon without entries is refused, since an image without sections
    holds nothing to read in place."""
    try:
        image = dictionary.archive(swap=swap)
    except SpeechCommonError as error:
        raise Failure(f"{path}: cannot write the archive image: {_cli.describe(error)}") from error
    # The count of sections is the header's last word; 0 reads the same in either byte order.
    if len(image) < IMAGE_HEADER or _cli.word(image, IMAGE_HEADER - 4) == 0:
        corrupt = SpeechCommonError(code("EDCT_E_CORRUPT"))
        raise Failure(f"{path}: no entries: a lexicon needs a [SubHeader] section with [Data] "
                      "lines, or its archive image has no section to read in place "
                      f"({_cli.describe(corrupt)})")
    return image


__all__ = ["archive_image", "shown", "text_form_losses", "text_stream"]
