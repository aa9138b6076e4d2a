"""python3 -m speechcommon dict ...: the dictionary commands of the speechcommon tool, with the
same arguments, output (text and --json) and exit statuses (0 done, 1 failed or a word not found,
2 a mistake on the command line)."""

from __future__ import annotations

import argparse
import json
import os
import sys
from typing import Any, Optional, Sequence

from ._check import check_lexicons
from ._cli import PROGRAM, DictFile, Failure
from ._cli import describe as _describe
from ._cli import write_err
from ._cli import write_output as _write_output
from ._pls import export_pls, import_pls
from ._textform import archive_image, text_form_losses, text_stream
from .dictionary import Content, Dictionary, DictionaryManager, Entry, Representation
from .errors import SpeechCommonError

_CONTENT_NAMES = ("broad-narrows", "userwords", "orthographic")
_REPRESENTATION_NAMES = ("szz", "binary", "sz", "wsz")


def _content_name(content: int) -> str:
    return _CONTENT_NAMES[content] if 0 <= content < 3 else f"content {content}"


def _representation_name(representation: int) -> str:
    return (_REPRESENTATION_NAMES[representation] if 0 <= representation < 4
            else f"representation {representation}")


def _is_list(entry: Entry) -> bool:
    return entry.content == Content.BROAD_NARROWS and entry.representation == Representation.SZZ_STRING


def _is_text(entry: Entry) -> bool:
    return entry.content == Content.ORTHOGRAPHIC and entry.representation in (
        Representation.SZ_STRING, Representation.WSZ_STRING)


def _hex(data: bytes) -> str:
    return " ".join(f"{byte:02X}" for byte in data)


def _data_json(entry: Entry) -> Any:
    if _is_list(entry):
        return list(entry.value)
    if _is_text(entry):
        return entry.value
    return _hex(entry.value if isinstance(entry.value, bytes) else entry.data())


def _data_text(entry: Entry) -> str:
    if _is_list(entry):
        return "".join("//" + piece for piece in entry.value) or "(empty list)"
    if _is_text(entry):
        return f'"{entry.value}"'
    return "bytes " + _hex(entry.value if isinstance(entry.value, bytes) else entry.data())


def _attributes_text(entry: Entry) -> str:
    out = ""
    if entry.language is not None:
        out += f" language={entry.language}"
    if entry.engine is not None:
        out += f" engine={entry.engine}"
    if entry.model is not None:
        out += f" model={entry.model}"
    return out


def _section_text(entry: Entry) -> str:
    return (f"{_content_name(entry.content)} ({_representation_name(entry.representation)})"  # type: ignore[arg-type]
            f"{_attributes_text(entry)}")


def _section_json(entry: Entry) -> dict[str, Any]:
    return {
        "content": _content_name(entry.content),
        "representation": _representation_name(entry.representation),  # type: ignore[arg-type]
        "language": entry.language,
        "model": entry.model,
        "engine": entry.engine,
    }


def _entry_json(entry: Entry) -> dict[str, Any]:
    return {**_section_json(entry), "data": _data_json(entry)}


def _entry_line(entry: Entry) -> str:
    return f"  {_content_name(entry.content):<13} {_data_text(entry)}{_attributes_text(entry)}"


def _counts(dictionary: Dictionary) -> str:
    info = dictionary.info
    return f"{info.keys} keys, {info.entries} entries"


def _print_json(document: Any) -> None:
    print(json.dumps(document, indent=2, ensure_ascii=False))


# ---- the commands ------------------------------------------------------------------------


def compile_(options: argparse.Namespace, source: str, target: str) -> int:
    opened = DictFile(source, options.encoding, writable=True)
    try:
        image = archive_image(opened.dictionary, options.swap, source)
        _write_output(target, image)
        if target != "-":
            note = ", for a host of the other byte order" if options.swap else ""
            print(f"{source}: {_counts(opened.dictionary)} -> {target} ({len(image)} bytes{note})")
    finally:
        opened.close()
    return 0


def decompile(options: argparse.Namespace) -> int:
    source = options.input
    opened = DictFile(source, None, writable=False)
    try:
        # Text that would read back as another dictionary is not written at all.
        losses: list[str] = []
        try:
            text_form_losses(opened.dictionary, options.encoding, losses.append)
        except SpeechCommonError as error:
            raise Failure(f"{source}: cannot walk it: {_describe(error)}") from error
        if losses:
            more = len(losses) - 1
            others = ""
            if more and opened.image and source != "-":
                named = f" --encoding {options.encoding}" if options.encoding else ""
                others = f" ({more} more: '{PROGRAM} dict check {source}{named}' lists them)"
            elif more:
                others = f" ({more} more)"
            raise Failure(f"{source}: {losses[0]}; the text stream would not read back as this "
                          f"dictionary, so none is written{others}")
        text = text_stream(opened.dictionary, options.encoding or "utf8", source)
        _write_output(options.output, text)
        if options.output != "-":
            print(f"{options.input}: {_counts(opened.dictionary)} -> {options.output} "
                  f"({len(text)} bytes)")
    finally:
        opened.close()
    return 0


def lookup(options: argparse.Namespace, words: Optional[list[str]]) -> int:
    filters: dict[str, Any] = {}
    if options.content is not None:
        filters["content"] = _CONTENT_NAMES.index(options.content)
    if options.language is not None:
        filters["language"] = options.language
    if options.engine is not None:
        filters["engine"] = options.engine
    opened: list[DictFile] = []
    try:
        for path in options.dict:
            opened.append(DictFile(path, None, writable=False))
        with DictionaryManager() as manager:
            for item in opened:
                manager.register(item.dictionary)
            if words is None:
                words = [line.rstrip("\n") for line in sys.stdin if line.rstrip("\n")]
            status = 0
            answers = []
            for word in words:
                try:
                    answer = manager.lookup(word, **filters)
                except SpeechCommonError as error:
                    if error.name != "EDCT_E_NOT_FOUND":
                        raise Failure(f"{word}: lookup failed: {_describe(error)}") from error
                    status = 1
                    if options.json:
                        answers.append({"word": word, "found": False, "from": None, "entries": []})
                    else:
                        print(f"{word}: not found")
                    continue
                source = next(item.path for item in opened if item.dictionary is answer.dictionary)
                if options.json:
                    answers.append({"word": word, "found": True, "from": source,
                                    "entries": [_entry_json(e) for e in answer.entries]})
                else:
                    count = len(answer.entries)
                    print(f"{word}: {count} {'entry' if count == 1 else 'entries'} from {source}")
                    for entry in answer.entries:
                        print(_entry_line(entry))
    finally:
        for item in opened:
            item.close()
    if options.json:
        _print_json({"words": answers})
    return status


def info(options: argparse.Namespace) -> int:
    opened = DictFile(options.dict, None, writable=False)
    try:
        summary = opened.dictionary.info
        sections: list[dict[str, Any]] = []
        texts: list[str] = []
        for item in opened.dictionary.walk():
            if item.new_section and item.entries:
                sections.append({**_section_json(item.entries[0]), "keys": 0, "entries": 0})
                texts.append(_section_text(item.entries[0]))
            if sections:
                sections[-1]["keys"] += 1
                sections[-1]["entries"] += len(item.entries)
    finally:
        opened.close()
    if options.json:
        _print_json({"file": opened.path, "kind": opened.kind, "name": summary.name,
                     "description": summary.description, "keys": summary.keys,
                     "entries": summary.entries, "sections": sections})
        return 0
    print(f"file         {opened.path} ({opened.kind})")
    print(f"name         {summary.name if summary.name is not None else '(none)'}")
    print(f"description  {summary.description if summary.description is not None else '(none)'}")
    print(f"keys         {summary.keys}\nentries      {summary.entries}")
    for number, (section, text) in enumerate(zip(sections, texts), 1):
        print(f"{'section ' + str(number):<12} {text}: {section['keys']} keys, "
              f"{section['entries']} entries")
    return 0


def list_(options: argparse.Namespace) -> int:
    opened = DictFile(options.dict, None, writable=False)
    keys = []
    section = 0
    try:
        for item in opened.dictionary.walk():
            section += item.new_section
            if options.json:
                keys.append({"key": item.key, "section": section,
                             "entries": [_entry_json(e) for e in item.entries]})
                continue
            if item.new_section and item.entries:
                print(f"[{_section_text(item.entries[0])}]")
            print(item.key)
            for entry in item.entries:
                print(_entry_line(entry))
    finally:
        opened.close()
    if options.json:
        _print_json({"file": opened.path, "keys": keys})
    return 0


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog=f"python3 -m {PROGRAM}",
                                     description="The speechcommon tool's dictionary commands.")
    groups = parser.add_subparsers(dest="group", required=True, metavar="COMMAND")
    dict_ = groups.add_parser("dict", help="Compile, check, convert, look up, describe and list "
                              "dictionaries; import and export W3C pronunciation lexicons",
                              epilog="A DICT is an archive image (opened read-only in place) or a "
                              "text stream (UTF-8, or UCS-2 with a byte-order mark); '-' is the "
                              "standard input or output.")
    commands = dict_.add_subparsers(dest="command", required=True, metavar="COMMAND")
    encodings = ("utf8", "ucs2le", "ucs2be")

    compile_parser = commands.add_parser("compile", help="Write the archive image of a dictionary")
    compile_parser.add_argument("input", metavar="IN", help="A text stream or an archive image")
    compile_parser.add_argument("-o", "--output", required=True, help="The image to write")
    compile_parser.add_argument("--swap", action="store_true",
                                help="Write the image for a host of the other byte order")
    compile_parser.add_argument("--encoding", choices=encodings,
                                help="The text stream's encoding (else taken from its byte-order mark)")

    convert = commands.add_parser("convert", help="Compile an archive image again")
    convert.add_argument("input", metavar="IMAGE", help="An archive image")
    convert.add_argument("output", metavar="OUT", help="The image to write")
    convert.add_argument("--swap", action="store_true",
                         help="Write the image for a host of the other byte order")

    decompile_parser = commands.add_parser("decompile", help="Write a dictionary as a text stream")
    decompile_parser.add_argument("input", metavar="IN", help="A text stream or an archive image")
    decompile_parser.add_argument("-o", "--output", required=True,
                                  help="The text stream to write ('-': stdout)")
    decompile_parser.add_argument("--encoding", choices=encodings,
                                  help="The encoding to write (default utf8)")

    lookup_parser = commands.add_parser(
        "lookup", help="Look words up through a manager",
        epilog="The dictionaries are registered on a manager in the order given, so the first "
        "that holds a word answers for it. The words follow '--', or are the lines of the "
        "standard input. Exit status 1 when a word is not found.")
    lookup_parser.add_argument("dict", metavar="DICT", nargs="+",
                               help="Dictionaries, the first searched first")
    lookup_parser.add_argument("--content", choices=("orthographic", "broad-narrows", "userwords"),
                               help="Only entries of this kind")
    lookup_parser.add_argument("--language", help="Only entries for this language")
    lookup_parser.add_argument("--engine", help="Only entries for this engine")
    lookup_parser.add_argument("--json", action="store_true", help="Write the answers as JSON")

    info_parser = commands.add_parser("info", help="Name, description, counts and sections")
    info_parser.add_argument("dict", metavar="DICT", help="A dictionary")
    info_parser.add_argument("--json", action="store_true", help="Write the description as JSON")

    list_parser = commands.add_parser("list", help="Every key with its entries")
    list_parser.add_argument("dict", metavar="DICT", help="A dictionary")
    list_parser.add_argument("--json", action="store_true", help="Write the keys as JSON")

    check = commands.add_parser(
        "check", help="Check lexicons as a compiler would",
        epilog="Prints file:line:column, warning or error, and what is wrong: what the reader "
        "refuses (errors), and what it accepts but will not give back as written: unknown "
        "sections, keys given twice, entries repeated, empty keys and data, text that the text "
        "form cannot carry back, sections that differ only in the case of an attribute, mixed "
        "line ends, a byte-order mark inside the text, quoted text with blanks at its ends. Exit "
        "status 1 when there are errors (or, with --werror, warnings).")
    check.add_argument("inputs", metavar="LEXICON", nargs="+",
                       help="Text streams (or archive images)")
    check.add_argument("--werror", action="store_true", help="Count warnings as errors")
    check.add_argument("--encoding", choices=encodings,
                       help="The text streams' encoding (else taken from their byte-order marks)")
    check.add_argument("--json", action="store_true", help="Write the findings as JSON")

    import_parser = commands.add_parser(
        "import-pls", help="Make a dictionary from W3C pronunciation lexicons (PLS 1.0)",
        epilog="Each grapheme becomes a key; the phonemes of a lexeme, preferred first, one "
        "broad-narrows entry; each alias an orthographic entry. The lexicon's xml:lang is the "
        "Language, its alphabet the Model (\"alphabet:ipa\"). What has no place in a "
        "dictionary (examples, roles, metadata) is reported. OUT is an archive image, or a text "
        "stream when it ends in .txt or is '-'.")
    import_parser.add_argument("inputs", metavar="PLS", nargs="+", help="Lexicon files")
    import_parser.add_argument("-o", "--output", required=True, help="The dictionary to write")

    export = commands.add_parser(
        "export-pls", help="Write a dictionary as a W3C pronunciation lexicon",
        epilog="Each key becomes a lexeme with one grapheme; its broad-narrows entries give the "
        "phonemes, its orthographic entries the aliases. A lexicon has one language: a "
        "dictionary with several needs --language, and entries of the others are reported. What "
        "has no place in a lexicon (user words, engines) is reported.")
    export.add_argument("dict", metavar="DICT", help="A dictionary")
    export.add_argument("-o", "--output", required=True, help="The lexicon to write ('-': stdout)")
    export.add_argument("--language", help="The language to export")
    export.add_argument("--alphabet", default="",
                        help="The alphabet of phonemes whose section records none")
    return parser


def main(argv: Optional[Sequence[str]] = None) -> int:
    arguments = list(sys.argv[1:] if argv is None else argv)
    words: Optional[list[str]] = None
    if "--" in arguments:
        at = arguments.index("--")
        arguments, words = arguments[:at], arguments[at + 1:]
    parser = _parser()
    options = parser.parse_args(arguments)
    if words is not None and options.command != "lookup":
        parser.error("words after '--' are taken by 'dict lookup' only")
    try:
        if options.command == "compile":
            return compile_(options, options.input, options.output)
        if options.command == "convert":
            options.encoding = None
            return compile_(options, options.input, options.output)
        if options.command == "decompile":
            return decompile(options)
        if options.command == "lookup":
            return lookup(options, words)
        if options.command == "info":
            return info(options)
        if options.command == "check":
            return check_lexicons(options.inputs, options.encoding, options.werror, options.json)
        if options.command == "import-pls":
            return import_pls(options.inputs, options.output)
        if options.command == "export-pls":
            return export_pls(options.dict, options.output, options.language, options.alphabet)
        return list_(options)
    except Failure as failure:
        sys.stdout.flush()
        write_err(f"{PROGRAM}: {failure}\n")
        return 1
    except SpeechCommonError as error:
        print(f"{PROGRAM}: {error}", file=sys.stderr)
        return 1
    except BrokenPipeError:
        # A reader that stopped early (| head) is no failure of ours; say nothing more.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 0


if __name__ == "__main__":
    sys.exit(main())
