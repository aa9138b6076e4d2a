"""dict import-pls and dict export-pls: dictionaries to and from W3C pronunciation lexicons
(PLS 1.0). A lexicon's alphabet lives in the Model of its sections, as "alphabet:<name>", in the
block the text reader makes (the text, a NUL, blanks up to 128 bytes), so a section imported
here and the same section read from text are one section."""

from __future__ import annotations

import ctypes
from dataclasses import dataclass, field
from typing import Optional, Union
from xml.parsers import expat

from . import _cli, _text
from ._cli import BROAD_NARROWS, ORTHOGRAPHIC, SZ_STRING, SZZ_STRING, Failure, quoted
from ._library import EDCT_ENTRY, library
from ._textform import archive_image, text_form_losses, text_stream
from .dictionary import Dictionary
from .errors import SpeechCommonError

NAMESPACE = "http://www.w3.org/2005/01/pronunciation-lexicon"
ALPHABET_PREFIX = "alphabet:"
_UNSPECIFIED = 0xFFFFFFFF


def alphabet_model(alphabet: str) -> Optional[bytes]:
    """The Model block naming an alphabet, or None when the name does not fit."""
    text = _cli.to_bytes(ALPHABET_PREFIX + alphabet)
    if len(text) >= _cli.MODEL_SIZE:
        return None
    return text + b"\0" + b" " * (_cli.MODEL_SIZE - len(text) - 1)


def alphabet_of(model: Optional[str]) -> Optional[str]:
    """The alphabet a Model names, or None."""
    if model is None or not model.startswith(ALPHABET_PREFIX) or model == ALPHABET_PREFIX:
        return None
    return model[len(ALPHABET_PREFIX):]


class Reporter:
    """Warnings about what one direction cannot carry, on the standard error as
    "where: warning: what"; after the first 50 only their number is given."""

    def __init__(self) -> None:
        self.count = 0

    def warn(self, where: str, what: str) -> None:
        self.count += 1
        if self.count <= 50:
            _cli.write_err(f"{where}: warning: {what}\n")

    def finish(self) -> None:
        if self.count > 50:
            _cli.write_err(f"... and {self.count - 50} more warnings\n")


# ---- reading lexicons --------------------------------------------------------------------


@dataclass
class Node:
    """An element as the lexicon is read: its name as written (with any prefix), attributes in
    document order, children (elements, and text as str) and the byte offset of its "<"."""

    name: str
    attributes: list[tuple[str, str]]
    offset: int
    children: list[Union["Node", str]] = field(default_factory=list)

    def attribute(self, name: str) -> str:
        return next((value for key, value in self.attributes if key == name), "")

    def elements(self) -> list["Node"]:
        return [child for child in self.children if isinstance(child, Node)]


_SPACE = " \t\r\n"

_E = expat.errors.codes


def _complaint(data: bytes, code: int, offset: int, started: bool) -> tuple[int, str]:
    """Where and how the tool words a complaint about malformed XML: what broke off at the
    end of the data is named after the markup it broke off in."""
    end = max(0, len(data) - 1)
    if code == _E[expat.errors.XML_ERROR_NO_ELEMENTS]:
        return (end, "Start-end tags mismatch") if started else (0, "No document element found")
    if code == _E[expat.errors.XML_ERROR_TAG_MISMATCH]:
        return offset, "Start-end tags mismatch"
    unclosed = code in (_E[expat.errors.XML_ERROR_UNCLOSED_TOKEN],
                        _E[expat.errors.XML_ERROR_UNCLOSED_CDATA_SECTION])
    tag = data.rfind(b"<", 0, offset + 1)
    markup = b"" if tag < 0 else data[tag:] if unclosed else data[tag:offset + 1]
    if code == _E[expat.errors.XML_ERROR_INVALID_TOKEN] and tag == offset - 1:
        return offset, "Could not determine tag type"
    if unclosed:
        if markup.startswith(b"<![CDATA["):
            return tag + 9, "Error parsing CDATA section"
        if markup.startswith(b"<!--"):
            return end, "Error parsing comment"
        if markup.startswith(b"</"):
            return tag + 2, "Start-end tags mismatch"
        if markup.startswith(b"<?"):
            return end, "Error parsing document declaration/processing instruction"
    if markup[1:2].isalpha() or markup[1:2] in (b"_", b":"):
        within = any(c in b" \t\r\n" for c in markup.rstrip(b" \t\r\n>/"))
        at = end if unclosed else offset
        return at, "Error parsing element attribute" if within else "Error parsing start element tag"
    message = expat.errors.messages[code]
    return offset, message[:1].upper() + message[1:]


def _parse(data: bytes) -> tuple[Optional[Node], Optional[tuple[int, str]]]:
    """The document element, or where and why the bytes are no well-formed XML. Text
    between two pieces of markup that is only blanks is left out; CDATA is kept."""
    parser = expat.ParserCreate()
    parser.ordered_attributes = True
    stack: list[Node] = []
    roots: list[Node] = []
    text: list[str] = []
    in_cdata = [False]

    def flush() -> None:
        joined = "".join(text)
        text.clear()
        if stack and (in_cdata[0] or joined.strip(_SPACE)):
            stack[-1].children.append(joined)

    def start(name: str, attributes: list[str]) -> None:
        flush()
        node = Node(name, list(zip(attributes[0::2], attributes[1::2])), parser.CurrentByteIndex)
        (stack[-1].children if stack else roots).append(node)
        stack.append(node)

    def end(_name: str) -> None:
        flush()
        stack.pop()

    def cdata_start() -> None:
        flush()
        in_cdata[0] = True

    def cdata_end() -> None:
        flush()
        in_cdata[0] = False

    parser.StartElementHandler = start
    parser.EndElementHandler = end
    parser.CharacterDataHandler = text.append
    parser.StartCdataSectionHandler = cdata_start
    parser.EndCdataSectionHandler = cdata_end
    parser.CommentHandler = lambda _text: flush()
    parser.ProcessingInstructionHandler = lambda _target, _data: flush()
    try:
        parser.Parse(data, True)
    except expat.ExpatError as error:
        if error.code == _E[expat.errors.XML_ERROR_JUNK_AFTER_DOC_ELEMENT]:
            return roots[0], None  # what follows the lexicon is no part of it
        return None, _complaint(data, error.code, max(0, parser.ErrorByteIndex), bool(roots))
    return roots[0], None


def _content(node: Node) -> str:
    """The character data of an element (text and CDATA sections), its ends trimmed."""
    return "".join(child for child in node.children if isinstance(child, str)).strip(_SPACE)


def _local(name: str) -> str:
    return name.split(":", 1)[1] if ":" in name else name


class Lexicon:
    """One lexicon file: its bytes for places, and its document element."""

    def __init__(self, path: str, reporter: Reporter) -> None:
        self.path = path
        self.reporter = reporter
        self.bytes = _cli.read_file(path)
        root, problem = _parse(self.bytes)
        if problem is not None or root is None:
            offset, complaint = problem or (0, "No document element found")
            raise Failure(f"{self.place(offset)}: not well-formed XML: {complaint}")
        self.root = root
        # The root's prefix (if any) must be bound to the lexicon namespace.
        prefix, colon, _ = root.name.partition(":")
        binding = f"xmlns:{prefix}" if colon else "xmlns"
        if _local(root.name) != "lexicon" or root.attribute(binding) != NAMESPACE:
            raise Failure(f"{self.place_of(root)}: not a pronunciation lexicon (a <lexicon> "
                          f"element in the namespace {NAMESPACE})")
        self.prefix = prefix + ":" if colon else ""
        self.alphabet = root.attribute("alphabet")
        self.language = root.attribute("xml:lang")
        if not self.alphabet:
            raise Failure(f"{self.place_of(root)}: the lexicon has no alphabet")
        if not self.language:
            raise Failure(f"{self.place_of(root)}: the lexicon has no xml:lang")
        if root.attribute("version") != "1.0":
            self.warn(root, f"version {quoted(root.attribute('version'))} read as 1.0")
        for name, _ in root.attributes:
            if name not in ("version", "alphabet", "xml:lang", "xsi:schemaLocation") and (
                    not name.startswith("xmlns")):
                self.warn(root, f"the attribute {name} of the lexicon is not carried")

    def is_(self, node: Node, local: str) -> bool:
        return node.name == self.prefix + local

    def place(self, offset: int) -> str:
        """"file:line:column" of a byte offset."""
        before = self.bytes[:offset]
        line_start = before.rfind(b"\n") + 1
        column = _cli.characters(_cli.from_bytes(before[line_start:])) + 1
        line = before.count(b"\n") + 1
        return f"{self.path}:{line}:{column}"

    def place_of(self, node: Node) -> str:
        return self.place(node.offset)

    def warn(self, node: Node, what: str) -> None:
        self.reporter.warn(self.place_of(node), what)


def _add(dictionary: Dictionary, key: str, language: str, model: bytes, content: int,
         representation: int, data: bytes) -> None:
    """Adds one entry with the bytes given, as they are."""
    keep = [ctypes.create_string_buffer(raw, len(raw) + 1)
            for raw in (_cli.to_bytes(language), model, data)]
    entry = EDCT_ENTRY(content, representation, _UNSPECIFIED, ctypes.addressof(keep[0]),
                       ctypes.addressof(keep[1]), None, ctypes.addressof(keep[2]), len(data))
    units = _text.to_utf16(_wide(key))
    added = library().edct_DctAddEntry(dictionary.handle, _text.as_char16_p(units),
                                       ctypes.byref(entry), 1)
    if added:
        raise Failure(f"cannot add {quoted(key)}: {_cli.describe(SpeechCommonError(added))}")


def _wide(text: str) -> str:
    """The str whose UTF-16 form the tool makes of 8-bit text (bytes that are no UTF-8 become
    U+FFFD)."""
    return _cli.for_json(text)


@dataclass
class _Phoneme:
    alphabet: str
    text: str
    preferred: bool


def _import_lexeme(lexicon: Lexicon, lexeme: Node, dictionary: Dictionary) -> bool:
    """Adds a lexeme's entries; whether it gave any."""
    for name, value in lexeme.attributes:
        lexicon.warn(lexeme, f"the role {quoted(value)} of the lexeme is not carried" if name == "role"
                     else f"the attribute {name} of the lexeme is not carried")
    graphemes: list[str] = []
    aliases: list[str] = []
    preferred_aliases: list[str] = []
    phonemes: list[_Phoneme] = []
    for child in lexeme.elements():
        grapheme, phoneme = lexicon.is_(child, "grapheme"), lexicon.is_(child, "phoneme")
        if not grapheme and not phoneme and not lexicon.is_(child, "alias"):
            lexicon.warn(child, f"the example {quoted(_content(child))} is not carried"
                         if lexicon.is_(child, "example")
                         else f"the element <{child.name}> is not carried")
            continue
        text = _content(child)
        if not text:
            lexicon.warn(child, f"an empty <{child.name}> is left out")
            continue
        for name, _ in child.attributes:
            if not (name == "prefer" and not grapheme) and not (name == "alphabet" and phoneme):
                lexicon.warn(child, f"the attribute {name} of <{child.name}> is not carried")
        preferred = child.attribute("prefer") == "true"
        alphabet = child.attribute("alphabet")
        if grapheme:
            graphemes.append(text)
        elif phoneme:
            phonemes.append(_Phoneme(alphabet or lexicon.alphabet, text, preferred))
        else:
            (preferred_aliases if preferred else aliases).append(text)
    if not graphemes:
        lexicon.warn(lexeme, "a lexeme without a grapheme is left out")
        return False
    if not phonemes and not aliases and not preferred_aliases:
        lexicon.warn(lexeme, "a lexeme without phonemes or aliases is left out")
        return False
    # Preferred first, each group in document order: the first is the one to use.
    phonemes = [p for p in phonemes if p.preferred] + [p for p in phonemes if not p.preferred]
    aliases = preferred_aliases + aliases
    # One list per alphabet, in the order of the alphabets' first phonemes.
    lists: dict[str, bytes] = {}
    for phoneme in phonemes:
        lists[phoneme.alphabet] = lists.get(phoneme.alphabet, b"") + _cli.to_bytes(phoneme.text) + b"\0"
    for grapheme in graphemes:
        for alphabet, pieces in lists.items():
            model = alphabet_model(alphabet)
            if model is None:
                raise Failure(f"{lexicon.place_of(lexeme)}: the alphabet name is too long")
            _add(dictionary, grapheme, lexicon.language, model, BROAD_NARROWS, SZZ_STRING,
                 pieces + b"\0")
        model = alphabet_model(lexicon.alphabet)
        if model is None:
            raise Failure(f"{lexicon.place_of(lexicon.root)}: the alphabet name is too long")
        # A key's entries come back newest first: added last to first, they keep their order.
        for alias in reversed(aliases):
            _add(dictionary, grapheme, lexicon.language, model, ORTHOGRAPHIC, SZ_STRING,
                 _cli.to_bytes(alias) + b"\0")
    return True


def _stem(path: str) -> str:
    """The file name without its last extension (".pls" stays ".pls")."""
    name = path.rsplit("/", 1)[-1]
    if name in (".", ".."):
        return name
    dot = name.rfind(".")
    return name[:dot] if dot > 0 else name


def import_pls(inputs: list[str], output: str) -> int:
    reporter = Reporter()
    try:
        with Dictionary() as dictionary:
            lexemes = 0
            for path in inputs:
                lexicon = Lexicon(path, reporter)
                for child in lexicon.root.elements():
                    if lexicon.is_(child, "lexeme"):
                        lexemes += _import_lexeme(lexicon, child, dictionary)
                    else:
                        lexicon.warn(child, f"the element <{child.name}> is not carried")
            # The dictionary is named after the first lexicon.
            try:
                dictionary.set_info(_wide(_stem(inputs[0])), None)
            except SpeechCommonError as error:
                raise Failure(f"cannot name the dictionary: {_cli.describe(error)}") from error
            text = output == "-" or _cli.has_extension(output, ".txt")
            if text:
                try:
                    text_form_losses(dictionary, "utf8", lambda loss: reporter.warn(output, loss))
                except SpeechCommonError as error:
                    raise Failure(f"cannot walk the dictionary: {_cli.describe(error)}") from error
            written = (text_stream(dictionary, "utf8", output) if text
                       else archive_image(dictionary, False, output))
            _cli.write_output(output, written)
            if output != "-":
                files = "file" if len(inputs) == 1 else "files"
                _cli.write_out(f"{lexemes} lexemes from {len(inputs)} {files} -> {output} "
                               f"({_cli.counts(dictionary)})\n")
    finally:
        reporter.finish()
    return 0


# ---- writing lexicons --------------------------------------------------------------------


@dataclass
class _Item:
    """What one entry of a key gives a lexeme, before the language is chosen."""

    language: str  # "" when the entry's section has none
    alphabet: str = ""  # of phonemes
    phonemes: list[str] = field(default_factory=list)
    alias: str = ""  # when not a list of phonemes
    left_out: str = ""  # why the entry has no place in the lexicon, if it has none
    losses: list[str] = field(default_factory=list)  # what of it the lexicon does not carry


def _from_record(record: _cli.Record, alphabet: str) -> _Item:
    item = _Item(record.language or "")
    recorded = alphabet_of(record.model)
    if record.content == BROAD_NARROWS and record.representation == SZZ_STRING:
        item.alphabet = recorded if recorded is not None else alphabet
        if not item.alphabet:
            item.left_out = ("phonemes whose section records no alphabet are left out (name one "
                             "with --alphabet)")
        item.phonemes = [piece for piece in _cli.broad_narrows(record) if piece]
    elif record.content == ORTHOGRAPHIC:
        item.alias = _cli.data_text(record)[1:-1]  # without its quotes
    else:
        item.left_out = (f"a {_cli.content_name(record.content)} entry has no place in a lexicon "
                         "and is left out")
    if record.engine is not None:
        item.losses.append(f"the engine {quoted(record.engine)} of an entry is not carried")
    if record.model is not None and recorded is None:
        item.losses.append(f"the model {quoted(record.model)} of an entry is not carried")
    return item


def _language(lexemes: dict[str, list[_Item]], wanted: Optional[str]) -> str:
    """The lexicon's one language: the one asked for, else the only one the entries have."""
    if wanted is not None:
        return wanted
    # The languages of what a lexicon can hold; of everything when it can hold nothing.
    languages = {i.language for items in lexemes.values() for i in items if i.language and not i.left_out}
    if not languages:
        languages = {i.language for items in lexemes.values() for i in items if i.language}
    if len(languages) == 1:
        return next(iter(languages))
    if not languages:
        raise Failure("the dictionary records no language, and a lexicon needs one: name it with "
                      "--language")
    listed = ", ".join(sorted(languages, key=_cli.to_bytes))
    raise Failure(f"the dictionary holds entries in several languages ({listed}), and a lexicon "
                  "has one: choose it with --language")


def _escaped(text: str, attribute: bool) -> str:
    """Text escaped as the tool's XML writer escapes it."""
    out = []
    for c in text:
        if c == "&":
            out.append("&amp;")
        elif c == "<":
            out.append("&lt;")
        elif c == ">":
            out.append("&gt;")
        elif c == '"' and attribute:
            out.append("&quot;")
        elif ord(c) < 32 and (attribute or c not in "\t\r\n"):
            out.append(f"&#{ord(c) // 10}{ord(c) % 10};")
        else:
            out.append(c)
    return "".join(out)


def export_pls(source: str, output: str, language: Optional[str], alphabet: str) -> int:
    reporter = Reporter()
    try:
        opened = _cli.DictFile(source, None, writable=False)
        try:
            lexemes: dict[str, list[_Item]] = {}  # in the order keys first appear
            try:
                for key, records, _ in _cli.walk_records(opened.dictionary):
                    lexemes.setdefault(key, []).extend(_from_record(r, alphabet) for r in records)
            except SpeechCommonError as error:
                raise Failure(f"{source}: cannot walk it: {_cli.describe(error)}") from error
        finally:
            opened.close()
        chosen = _language(lexemes, language)

        # Entries of other languages stay out; sections without a language belong to any. What
        # the lexicon cannot hold of the rest is reported.
        left_out: dict[str, int] = {}
        alphabets: dict[str, int] = {}
        for grapheme, items in lexemes.items():
            where = f"{source}: key {quoted(grapheme)}"
            kept = []
            for item in items:
                if item.language and item.language != chosen:
                    left_out[item.language] = left_out.get(item.language, 0) + 1
                    continue
                if item.left_out:
                    reporter.warn(where, item.left_out)
                    continue
                for loss in item.losses:
                    reporter.warn(where, loss)
                if item.phonemes or item.alias:
                    kept.append(item)
            items[:] = kept
            for item in kept:
                if item.phonemes:
                    alphabets[item.alphabet] = alphabets.get(item.alphabet, 0) + len(item.phonemes)
        for other in sorted(left_out, key=_cli.to_bytes):
            count = left_out[other]
            reporter.warn(source, f"{count} entr{'y' if count == 1 else 'ies'} in {other} left "
                          "out: a lexicon has one language")
        # The lexicon's alphabet is the one most phonemes use; the others are named per phoneme.
        main, most = alphabet, 0
        for name in sorted(alphabets, key=_cli.to_bytes):
            if alphabets[name] > most:
                main, most = name, alphabets[name]
        main = main or "ipa"  # a lexicon of aliases only still names an alphabet

        # Laid out as the tool's XML writer lays it out: two blanks a level, an element
        # holding only text on one line, an empty one closed in its own tag.
        body = []
        for grapheme, items in lexemes.items():
            if not items:
                continue
            body.append("  <lexeme>")
            body.append(f"    <grapheme>{_escaped(grapheme, False)}</grapheme>")
            for item in items:
                for phoneme in item.phonemes:
                    named = "" if item.alphabet == main else (
                        f' alphabet="{_escaped(item.alphabet, True)}"')
                    body.append(f"    <phoneme{named}>{_escaped(phoneme, False)}</phoneme>")
            for item in items:
                if not item.phonemes:
                    body.append(f"    <alias>{_escaped(item.alias, False)}</alias>")
            body.append("  </lexeme>")
        written = body.count("  </lexeme>")
        root = (f'<lexicon version="1.0" xmlns="{NAMESPACE}" alphabet="{_escaped(main, True)}" '
                f'xml:lang="{_escaped(chosen, True)}"')
        lines = ['<?xml version="1.0" encoding="UTF-8"?>']
        lines += [root + ">", *body, "</lexicon>"] if body else [root + " />"]
        document = "".join(line + "\n" for line in lines)
        _cli.write_output(output, _cli.to_bytes(document))
        if output != "-":
            _cli.write_out(f"{source}: {written} lexemes ({chosen}, alphabet {main}) -> {output}\n")
    finally:
        reporter.finish()
    return 0


__all__ = ["export_pls", "import_pls"]
