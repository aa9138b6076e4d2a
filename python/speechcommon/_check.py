"""dict check: lexicons checked as a compiler checks a source. Errors are what the library's
reader refuses, with the place it reports. Warnings come from reading the lines again here, the
way the reader takes them, to find what it accepts but will not give back as written."""

from __future__ import annotations

import ctypes
import json
from dataclasses import dataclass
from typing import Any, Optional

from . import _cli
from ._cli import Failure, quoted
from ._library import SafeHandle, library, null_handle
from ._textform import text_form_losses
from .dictionary import Dictionary
from .errors import SpeechCommonError


@dataclass
class Finding:
    line: int  # 0: the file as a whole
    column: int
    error: bool
    message: str


@dataclass
class Line:
    text: str  # without its line end
    crlf: bool = False  # ended by CR LF
    lf: bool = False  # ended by a line feed (the last line may not be)


def split_lines(text: str) -> list[Line]:
    lines = []
    while text:
        end = text.find("\n")
        line = Line(text if end < 0 else text[:end])
        line.lf = end >= 0
        line.crlf = line.lf and line.text.endswith("\r")
        if line.crlf:
            line.text = line.text[:-1]
        lines.append(line)
        text = text[end + 1:] if line.lf else ""
    return lines


def _trim(text: str) -> str:
    return text.strip(" \t\r")


def _first_not_blank(text: str, at: int = 0) -> int:
    """The first character from `at` that is neither blank nor tab; -1 when there is none."""
    while at < len(text):
        if text[at] not in " \t":
            return at
        at += 1
    return -1


@dataclass
class QuotedToken:
    text: str = ""  # quotes and escapes resolved, not trimmed
    quoted: bool = False  # a quote switched
    open: bool = False  # the line ended inside quotes
    end: int = 0  # where reading stopped


def read_quoted(line: str, at: int, to_blank: bool) -> QuotedToken:
    """One token in the reader's quote mode: a double quote switches in and out of quotes (the
    character after a switch is taken as it comes), a backslash takes the next character as it
    comes; outside quotes a blank or tab ends the token when `to_blank`."""
    token = QuotedToken()
    inside = False
    pieces = []
    while at < len(line):
        c = line[at]
        at += 1
        if c == '"':
            inside = not inside
            token.quoted = True
            if at == len(line):
                break
            c = line[at]
            at += 1
        if c == "\\":
            if at == len(line):
                break
            c = line[at]
            at += 1
        if not inside and to_blank and c in " \t":
            break
        if c != "\r":
            pieces.append(c)
    token.text = "".join(pieces)
    token.open = inside
    token.end = at
    return token


def _hex_digit(c: str) -> bool:
    return c in "0123456789abcdefABCDEF"


_ATTRIBUTES = ("Content", "Engine", "Language", "Model", "Representation")  # in byte order


class LineCheck:
    """The lines of one text stream read again for what the reader takes otherwise than
    written."""

    def __init__(self, text: str, findings: list[Finding]) -> None:
        self.lines = split_lines(text)
        self.findings = findings
        self.number = 0  # the line being read, from 1
        self.in_data = False  # in a [Data] section
        self.section_line = 0  # the [SubHeader] line of the section
        self.section = ""  # the attributes of the current section
        self.attributes = dict.fromkeys(_ATTRIBUTES, "")
        self.header_keys: dict[str, int] = {}  # Name and Description, where first given
        self.sections: dict[str, tuple[str, int]] = {}  # folded -> exact, line
        self.entries: dict[str, int] = {}  # section, key and data -> line
        self.pending_key = ""  # a key whose value or data is to come
        self.pending_value = self.pending_data = 0  # the line of that key
        self.continued = False  # user-words data goes on

    def run(self) -> None:
        self.line_ends()
        for self.number in range(1, len(self.lines) + 1):
            text = self.lines[self.number - 1].text
            self.inside_line(text)
            trimmed = _trim(text)
            if not trimmed:
                continue
            if self.pending_value:
                self.warn(self.pending_value, 1, f"no value after {self.pending_key}: line "
                          f"{self.number} is taken as its value")
                self.apply(self.pending_key, trimmed, self.pending_value)
                self.pending_value = 0
            elif self.pending_data:
                self.warn(self.pending_data, 1, f"no data after key {quoted(self.pending_key)}: "
                          f"line {self.number} is read as its data")
                self.data(self.pending_key, self.pending_data, text, 0)
                self.pending_data = 0
            elif self.continued:
                self.continued = self.hex_line(text, 0)
            elif not self.in_data and trimmed in ("[Header]", "[SubHeader]"):
                self.section_line = self.number  # in a data section only the key [SubHeader] ends it
            elif not self.in_data and trimmed == "[Data]":
                self.in_data = True
                self.section_starts()
            elif self.in_data:
                self.entry(text)
            else:
                self.key_line(text)

    def warn(self, line: int, column: int, message: str) -> None:
        self.findings.append(Finding(line, column, False, message))

    @staticmethod
    def column(text: str, offset: int) -> int:
        return _cli.characters(text[:offset]) + 1

    def inside_line(self, text: str) -> None:
        # The reader drops a carriage return inside a line and takes a byte-order mark as text.
        cr = text.find("\r")
        if cr >= 0:
            self.warn(self.number, self.column(text, cr), "a carriage return inside the line is dropped")
        mark = text.find("\ufeff")
        if mark >= 0:
            self.warn(self.number, self.column(text, mark),
                      "a byte-order mark (U+FEFF) inside the text is read as part of a token")

    def line_ends(self) -> None:
        first: Optional[int] = None
        for i, line in enumerate(self.lines):
            if not line.lf:
                continue
            if first is None:
                first = i
            elif line.crlf != self.lines[first].crlf:
                ends = ("CR LF" if line.crlf else "LF", "CR LF" if self.lines[first].crlf else "LF")
                self.warn(i + 1, _cli.characters(line.text) + 1,
                          f"mixed line ends: this line ends in {ends[0]}, line {first + 1} in "
                          f"{ends[1]}")
                return

    def key_line(self, text: str) -> None:
        """"Key = value", or a key whose value is the next non-empty line."""
        equals = text.find("=")
        key = _trim(text if equals < 0 else text[:equals])
        value = "" if equals < 0 else _trim(text[equals + 1:])
        if not value:
            self.pending_key, self.pending_value = key, self.number
            return
        self.apply(key, value, self.number)

    def apply(self, key: str, value: str, line: int) -> None:
        if key in ("Name", "Description"):
            first = self.header_keys.setdefault(key, line)
            if first != line:
                self.warn(line, 1, f"{key} given again (first on line {first}): the first value "
                          "is kept")
        elif key == "POS":
            self.warn(line, 1, "POS is ignored: entries read from a text stream have no part of speech")
        elif key in self.attributes:
            self.attributes[key] = value

    def section_starts(self) -> None:
        """A [Data] line: the section's attributes are complete. Sections whose attributes
        differ only in case are two sections, and lookups compare with case."""
        exact = "".join(f"{key}={value}\n" for key, value in self.attributes.items())
        self.section = exact
        folded = _cli.fold_ascii(exact)
        if folded not in self.sections:
            self.sections[folded] = (exact, self.section_line)
            return
        then, line = self.sections[folded]
        if then == exact:
            return
        differences = ", ".join(
            f"{now.text} vs {earlier.text}"
            for now, earlier in zip(split_lines(exact), split_lines(then)) if now.text != earlier.text)
        self.warn(self.section_line or self.number, 1,
                  f"this section differs from the one at line {line} only in case ({differences}): "
                  "its entries form a section of their own, and lookups compare with case")

    def entry(self, text: str) -> None:
        """An entry line: its key, then its data."""
        start = _first_not_blank(text)
        key = read_quoted(text, start, True)
        name = _trim(key.text)
        column = self.column(text, start)
        if key.open:
            self.warn(self.number, column, "a quote is not closed: the key runs on into the next line")
            return
        if name == "[SubHeader]" and not key.quoted:
            self.in_data = False
            self.section_line = self.number
            return
        if not name:
            self.warn(self.number, column, "empty key: the next token is read as the key")
            return
        if not key.quoted and name.startswith("[") and name.endswith("]"):
            self.warn(self.number, column, f"{name} is no section here: it is read as an entry key")
        if key.quoted and name != key.text:
            self.warn(self.number, column, f"the key {quoted(key.text)} loses the blanks at its ends")
        if "\t" in name and " " not in name:
            self.warn(self.number, column, f"the key {quoted(name)} holds a tab and no blank: "
                      "written back unquoted, it does not read back")
        if name == "[SubHeader]":
            self.warn(self.number, column,
                      "the key [SubHeader] is written back without quotes and then ends the section")
        if not _trim(text[key.end:]):
            self.pending_key, self.pending_data = name, self.number
            return
        self.data(name, self.number, text, key.end)

    def data(self, key: str, key_line: int, text: str, at: int) -> None:
        """The data of an entry, by the section's Content, from character `at` of `text`."""
        content = self.attributes["Content"]
        start = _first_not_blank(text, at)
        start = len(text) if start < 0 else start
        column = self.column(text, start)
        value = _trim(text[at:])
        if content == "EDCT_CONTENT_ORTHOGRAPHIC":
            data = read_quoted(text, start, False)
            if data.open:
                self.warn(self.number, column,
                          "a quote is not closed: the data runs on into the next line")
            value = _trim(data.text)
            if data.quoted and value != data.text:
                self.warn(self.number, column,
                          f"the data {quoted(data.text)} loses the blanks at its ends")
        elif content == "EDCT_CONTENT_BROAD_NARROWS" and value.startswith("//"):
            if value == "//" or value.endswith("//") or "////" in value:
                self.warn(self.number, column, "an empty piece in the list: the text form ends a "
                          "list at its first empty piece, so it cannot carry the rest back")
        elif content == "EDCT_CONTENT_USERWORDS":
            self.continued = self.hex_line(text, at)
            if self.continued:
                return  # a duplicate is judged on whole entries only
        entry = f"{self.section}\n{key}\n{value}"
        first = self.entries.setdefault(entry, key_line)
        if first != key_line:
            self.warn(key_line, 1, f"duplicate entry: the key {quoted(key)} has this entry already "
                      f"(line {first})")

    def hex_line(self, text: str, at: int) -> bool:
        """One line of user-words data; returns whether it continues on the next line."""
        data = _trim(text[at:])
        continues = data.endswith("\\")
        if continues:
            data = data[:-1]

        def not_space(i: int) -> int:
            while i < len(data) and data[i] == " ":
                i += 1
            return i if i < len(data) else -1

        i = not_space(0)
        while i >= 0 and i + 1 < len(data) and _hex_digit(data[i]) and _hex_digit(data[i + 1]):
            i = not_space(i + 2)
        if i >= 0 and i + 1 == len(data):
            self.warn(self.number, self.column(text, text.find(data) + i),
                      "a single hex digit at the end of the line is ignored")
        return continues


def _text(stream: _cli.StreamFormat, findings: list[Finding]) -> str:
    """The text of a stream whatever its encoding, with a warning when bytes are dropped or
    replaced."""
    if stream.encoding == "utf8":
        try:
            return stream.body.decode("utf-8")
        except UnicodeDecodeError:
            findings.append(Finding(0, 0, False, "the text is not valid UTF-8"))
            return stream.body.decode("utf-8", "replace")
    body = stream.body if stream.prefixed else stream.body[2:]
    if len(body) % 2:
        findings.append(Finding(0, 0, False,
                                "the stream ends in half a 16-bit unit, which is dropped"))
        body = body[:-1]
    return body.decode("utf-16-le" if stream.encoding == "ucs2le" else "utf-16-be", "replace")


def _check_text(data: bytes, encoding: Optional[str], findings: list[Finding]) -> None:
    stream = _cli.detect_format(data, encoding)
    if stream.utf8_mark:
        findings.append(Finding(1, 1, False, "a UTF-8 byte-order mark: this tool skips it, but "
                                "the library's reader takes it as part of the first line"))
    with Dictionary() as dictionary:
        try:
            problem = _cli.read_stream(dictionary, stream)
            if problem.line:
                findings.append(Finding(
                    problem.line, problem.column, False,
                    "reading ends at this [SubHeader] line, since the [Data] section followed "
                    "[Header] directly: the lines after it are not read"))
        except SpeechCommonError as error:
            problem = error.problem  # type: ignore[attr-defined]
            name = error.name or f"0x{error.code:08X}"
            findings.append(Finding(problem.line, problem.column, True,
                                    f"{_cli.explained(problem)} [{name}]"))
    LineCheck(_text(stream, findings), findings).run()


def _check_image(data: bytes, encoding: Optional[str], findings: list[Finding]) -> None:
    if _cli.word(data, 0) == _cli.SWAPPED_IMAGE_FORMAT:
        findings.append(Finding(0, 0, True, "an archive image for a host of the other byte order"))
        return
    if _cli.word(data, 4) > len(data) or len(data) < 24:
        findings.append(Finding(0, 0, True, "a truncated archive image"))
        return
    lib = library()
    # Aligned as the library reads an image in place.
    buffer = (ctypes.c_uint32 * (len(data) // 4 + 1))()
    ctypes.memmove(buffer, data, len(data))
    refused = lib.edct_DctCheckImage(buffer, len(data))
    if refused:
        findings.append(Finding(0, 0, True, "the archive image is refused: "
                                + _cli.describe(SpeechCommonError(refused))))
        return
    # Opened read-only as it lies, the way the tool opens it (Dictionary.open would make an
    # image without sections a writable copy).
    handle = SafeHandle()
    opened = lib.edct_DctOpen(null_handle(), buffer, 1, None, None, ctypes.byref(handle))
    if opened:
        findings.append(Finding(0, 0, True, "the archive image is refused: "
                                + _cli.describe(SpeechCommonError(opened))))
        return
    dictionary = Dictionary.__new__(Dictionary)
    dictionary._handle, dictionary.writable = handle, False
    dictionary._own("an archive image (read-only)", lambda: lib.edct_DctClose(handle))
    try:
        text_form_losses(dictionary, encoding,
                         lambda loss: findings.append(Finding(0, 0, False, loss)))
    except SpeechCommonError as error:
        findings.append(Finding(0, 0, True, f"cannot walk the image: {_cli.describe(error)}"))
    finally:
        dictionary.close()
        del buffer


def check_lexicons(files: list[str], encoding: Optional[str], werror: bool, as_json: bool) -> int:
    status = 0
    reports: list[dict[str, Any]] = []
    for path in files:
        findings: list[Finding] = []
        try:
            data = _cli.read_file(path)
            if _cli.word(data, 0) in (_cli.IMAGE_FORMAT, _cli.SWAPPED_IMAGE_FORMAT):
                _check_image(data, encoding, findings)
            else:
                _check_text(data, encoding, findings)
        except Failure as failure:
            findings.append(Finding(0, 0, True, str(failure)))
        findings.sort(key=lambda finding: (finding.line, finding.column))  # stable
        errors = warnings = 0
        listed = []
        for finding in findings:
            error = finding.error or werror
            if error:
                errors += 1
            else:
                warnings += 1
            severity = "error" if error else "warning"
            suffix = " [--werror]" if not finding.error and werror else ""
            if as_json:
                listed.append({"line": finding.line or None, "column": finding.column or None,
                               "severity": severity, "message": _cli.for_json(finding.message)})
            elif finding.line:
                _cli.write_out(f"{path}:{finding.line}:{finding.column}: {severity}: "
                               f"{finding.message}{suffix}\n")
            else:
                _cli.write_out(f"{path}: {severity}: {finding.message}{suffix}\n")
        if errors:
            status = 1
        if as_json:
            reports.append({"file": _cli.for_json(path), "errors": errors, "warnings": warnings,
                            "findings": listed})
        elif errors or warnings:
            _cli.write_out(f"{path}: {errors} error{'' if errors == 1 else 's'}, {warnings} "
                           f"warning{'' if warnings == 1 else 's'}\n")
    if as_json:
        _cli.write_out(json.dumps({"files": reports}, indent=2, ensure_ascii=False) + "\n")
    return status


__all__ = ["check_lexicons"]
