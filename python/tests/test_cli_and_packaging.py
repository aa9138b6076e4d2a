"""python3 -m speechcommon against the tool itself; finding the library; pip install offline."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

import speechcommon
from conftest import PYTHON_DIR


def run(arguments, env=None, stdin=None, cwd=None):
    return subprocess.run(arguments, capture_output=True, env=env, input=stdin, cwd=cwd)


def module(*arguments, stdin=None, cwd=None):
    env = dict(os.environ, PYTHONPATH=str(PYTHON_DIR), PYTHONDONTWRITEBYTECODE="1")
    return run([sys.executable, "-m", "speechcommon", *arguments], env=env, stdin=stdin, cwd=cwd)


def test_dict_commands_answer_as_the_tool_does(tool, source_root, tmp_path):
    lexicon = str(source_root / "examples" / "lexicon.txt")
    override = str(source_root / "examples" / "override.txt")
    image = str(tmp_path / "lexicon.img")
    assert module("dict", "compile", lexicon, "-o", image).returncode == 0
    assert run([tool, "dict", "compile", lexicon, "-o", "-"]).stdout == Path(image).read_bytes()
    for command in (["info", image], ["list", override], ["list", image],
                    ["lookup", override, image, "--language", "en-US", "--", "Dr.", "tomato", "nope"],
                    ["lookup", override, image, "--content", "orthographic", "--", "Dr.", "café"]):
        ours, theirs = module("dict", *command), run([tool, "dict", *command])
        assert (ours.returncode, ours.stdout) == (theirs.returncode, theirs.stdout), command
        command = command[:1] + ["--json"] + command[1:]
        ours, theirs = module("dict", *command), run([tool, "dict", *command])
        assert json.loads(ours.stdout) == json.loads(theirs.stdout), command
    for encoding in ("utf8", "ucs2le", "ucs2be"):
        ours = module("dict", "decompile", image, "-o", "-", "--encoding", encoding)
        theirs = run([tool, "dict", "decompile", image, "-o", "-", "--encoding", encoding])
        assert ours.stdout == theirs.stdout
    words = module("dict", "lookup", image, stdin=b"tomato\n\nhello\n")
    assert words.returncode == 0 and words.stdout.count(b"from ") == 2
    assert module("dict", "convert", image, str(tmp_path / "again.img")).returncode == 0


def test_dict_commands_fail_with_statuses_and_places(source_root, tmp_path):
    bad = tmp_path / "bad.txt"
    bad.write_text("[Header]\nName = x\n\n[SubHeader]\nContent = NOPE\n")
    failed = module("dict", "info", str(bad))
    assert failed.returncode == 1
    assert b"bad.txt:5:11: unknown Content value NOPE" in failed.stderr
    assert b"EDCT_E_UNKNOWN_FORMAT 0x801E0003" in failed.stderr
    truncated = tmp_path / "cut.img"
    with speechcommon.Dictionary.from_text(source_root / "examples" / "lexicon.txt") as d:
        truncated.write_bytes(d.archive()[:100])
    assert b"truncated archive image" in module("dict", "list", str(truncated)).stderr
    assert module("dict", "lookup", str(bad)).returncode == 1
    assert module("dict", "info").returncode == 2
    assert module("dict", "info", str(bad), "--", "x").returncode == 2


def copy_package(target: Path) -> Path:
    shutil.copytree(PYTHON_DIR / "speechcommon", target / "speechcommon",
                    ignore=shutil.ignore_patterns("__pycache__"))
    return target


def load_in(directory: Path, configured: str, extra: str = ""):
    env = dict(os.environ, PYTHONPATH=str(directory), SPEECHCOMMON_LIBRARY=configured,
               PYTHONDONTWRITEBYTECODE="1", LD_LIBRARY_PATH="")
    code = f"import speechcommon; print(speechcommon.library_path()){extra}"
    return run([sys.executable, "-c", code], env=env, cwd=directory)


def test_the_library_is_found_beside_the_package_then_by_the_variable(tmp_path):
    built = Path(speechcommon.library_path())
    plain = copy_package(tmp_path / "plain")
    found = load_in(plain, str(built))
    assert found.returncode == 0 and found.stdout.decode().strip() == str(built)
    found = load_in(plain, str(built.parent))  # a directory holding it will do
    assert found.returncode == 0
    beside = copy_package(tmp_path / "beside")
    shutil.copy(built, beside / "speechcommon" / "libspeechcommon.so")
    found = load_in(beside, str(tmp_path / "elsewhere.so"))
    assert found.stdout.decode().strip() == str(beside / "speechcommon" / "libspeechcommon.so")
    missing = load_in(plain, str(tmp_path / "elsewhere.so"))
    if missing.returncode == 0:
        pytest.skip("a libspeechcommon is installed on the system's search path")
    message = missing.stderr.decode()
    assert "LibraryNotFoundError" in message
    for tried in ("beside the package", str(tmp_path / "elsewhere.so"), "system's search path",
                  "SPEECHCOMMON_LIBRARY"):
        assert tried in message


def test_pip_installs_the_package_offline(tmp_path, source_root):
    if run([sys.executable, "-m", "pip", "--version"]).returncode:
        pytest.skip("pip is not installed")
    # A copy of what the build reads, so the source tree is left as it was.
    source = tmp_path / "source"
    shutil.copytree(PYTHON_DIR, source / "python",
                    ignore=shutil.ignore_patterns("__pycache__", "build", "*.egg-info", "tests"))
    shutil.copy(source_root / "CMakeLists.txt", source)
    for table in source_root.glob("*/*_codes.def"):
        (source / table.parent.name).mkdir(exist_ok=True)
        shutil.copy(table, source / table.parent.name)
    target = tmp_path / "site"
    installed = run([sys.executable, "-m", "pip", "install", "--no-build-isolation", "--no-index",
                     "--no-deps", "--quiet", "--target", str(target), str(source / "python")])
    assert installed.returncode == 0, installed.stderr.decode()
    assert (target / "speechcommon" / "_generated.py").exists()
    found = load_in(target, speechcommon.library_path(),
                    "; print(speechcommon.__version__, speechcommon.codes.EDCT_E_CORRUPT)")
    assert found.returncode == 0, found.stderr.decode()
    assert found.stdout.decode().split()[1:] == [speechcommon.__version__,
                                                  str(speechcommon.codes.EDCT_E_CORRUPT)]


RICH_LEXICON = """<?xml version="1.0" encoding="UTF-8"?>
<pls:lexicon version="1.1" xmlns:pls="http://www.w3.org/2005/01/pronunciation-lexicon"
    alphabet="ipa" xml:lang="en-GB" extra="1">
  <pls:meta name="x"/>
  <pls:lexeme role="noun">
    <pls:grapheme>tomato</pls:grapheme>
    <pls:grapheme>tomatoes<!-- plural -->  </pls:grapheme>
    <pls:phoneme>t\u0259\u02c8m\u0251\u02d0t\u0259\u028a</pls:phoneme>
    <pls:phoneme prefer="true" alphabet="x-sampa">t@"mA:t@U</pls:phoneme>
    <pls:phoneme prefer="true"><![CDATA[t\u0259<m\u0251\u02d0>]]></pls:phoneme>
    <pls:alias>tomayto</pls:alias>
    <pls:alias prefer="true">tomahto &amp; co</pls:alias>
    <pls:example>I like tomato.</pls:example>
    <pls:grapheme lang="x"></pls:grapheme>
  </pls:lexeme>
  <pls:lexeme><pls:phoneme>a</pls:phoneme></pls:lexeme>
  <pls:lexeme><pls:grapheme>lonely</pls:grapheme></pls:lexeme>
  <pls:lexeme><pls:grapheme> two words </pls:grapheme><pls:phoneme>p//q</pls:phoneme></pls:lexeme>
</pls:lexicon>
"""

HOSTILE_TEXT = (
    b"\xef\xbb\xbf[Header]\r\nName = A\r\nName = B\nDescription\n\n  second\nPOS = 3\n\n"
    b"[SubHeader]\nContent = EDCT_CONTENT_BROAD_NARROWS\nLanguage = en\n[Data]\n"
    b"k1 //a////b\nk1 //a////b\n\"k3\n\"  k4\"\n\"\" x\nk\tb\n[Foo]\tx\nlonely\n//p\n"
    b"bad\xff\xfe byte\nin\rline\nmark\xef\xbb\xbfx y\n"
    b"[SubHeader]\nContent = EDCT_CONTENT_USERWORDS\n[Data]\nu1 00 01 0\nu2 00 \\\n 01 02\n"
    b"[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\nLanguage = EN\n[Data]\n"
    b"o1 \"  spaced  \"\no2 \"open\n"
    b"[SubHeader]\nContent = EDCT_CONTENT_BROAD_NARROWS\nLanguage = en\nRepresentation = "
    b"EDCT_REPR_SZZ_STRING\n[Data]\nk9 //z\n"
)
DRAFT = (b"[Header]\nName = Draft\n\n[SubHeader]\nLanguage = en-US\n"
         b"Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n\n"
         b"[Data]\nDr.\tdoctor\nDr.\tdoctor\n\"  St. \"\tstreet\n[Misc]\tother\n")
NS = 'xmlns="http://www.w3.org/2005/01/pronunciation-lexicon"'


class Sides:
    """The tool and the module, each run in a directory of its own holding the same inputs,
    so that messages naming files and the files written can be compared byte for byte."""

    def __init__(self, tool, root: Path, inputs: dict) -> None:
        self.tool, self.root, self.inputs, self.runs = tool, root, inputs, 0

    def same(self, *command, stdin=None):
        self.runs += 1
        ours, theirs = self.root / f"p{self.runs}", self.root / f"c{self.runs}"
        for side in (ours, theirs):
            side.mkdir()
            for name, data in self.inputs.items():
                (side / name).write_bytes(data)
        mine = module("dict", *command, stdin=stdin, cwd=ours)
        tools = run([self.tool, "dict", *command], stdin=stdin, cwd=theirs)
        assert (mine.returncode, mine.stdout.decode(errors="replace"),
                mine.stderr.decode(errors="replace")) == (
                    tools.returncode, tools.stdout.decode(errors="replace"),
                    tools.stderr.decode(errors="replace")), command
        written = {p.name: p.read_bytes() for p in theirs.iterdir()}
        assert {p.name: p.read_bytes() for p in ours.iterdir()} == written, command
        return tools, written


def test_check_and_pls_commands_answer_as_the_tool_does(tool, source_root, tmp_path):
    examples = source_root / "examples"
    with speechcommon.Dictionary.from_text(examples / "lexicon.txt") as lexicon:
        image = lexicon.archive()
    wide = "[Header]\nName = wide\n[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n[Data]\nx  y\nx y\n"
    sides = Sides(tool, tmp_path, {
        "lexicon.txt": (examples / "lexicon.txt").read_bytes(),
        "override.txt": (examples / "override.txt").read_bytes(),
        "lexicon.img": image, "draft.txt": DRAFT, "hostile.txt": HOSTILE_TEXT,
        "wide.txt": wide.encode("utf-16-be"), "cut.img": image[:100],
        "rich.pls": RICH_LEXICON.encode(),
        "mismatch.pls": f'<lexicon {NS} alphabet="ipa" xml:lang="en">\n<lexeme>\n</lexicon>'.encode(),
        "cut.pls": f'<lexicon {NS} alphabet="ipa" xml:lang="en">\n <lexeme><grapheme>a</gra'.encode(),
        "stranger.pls": b'<lexicon alphabet="ipa" xml:lang="en"/>',
        "bare.pls": f'<lexicon {NS} xml:lang="en"/>'.encode(),
    })
    # Checked as a compiler would: the demo's draft, the examples, hostile lines, an image.
    checked, _ = sides.same("check", "draft.txt", "lexicon.txt")
    assert b"draft.txt:11:1: warning: duplicate entry" in checked.stdout
    assert sides.same("check", "draft.txt", "--werror")[0].returncode == 1
    for command in (["hostile.txt", "override.txt", "lexicon.img", "cut.img", "missing.txt"],
                    ["--encoding", "ucs2be", "wide.txt"], ["--encoding", "utf8", "hostile.txt"]):
        sides.same("check", *command)
        sides.same("check", "--json", *command)
    sides.same("check", "-", stdin=HOSTILE_TEXT)

    # Out to a lexicon and back: one language, the alphabet named, the others left out.
    _, written = sides.same("export-pls", "lexicon.img", "--language", "en-US", "--alphabet",
                            "x-sampa", "-o", "lexicon.pls")
    assert b'alphabet="x-sampa" xml:lang="en-US"' in written["lexicon.pls"]
    assert sides.same("export-pls", "lexicon.img", "-o", "x.pls")[0].returncode == 1  # languages
    sides.same("export-pls", "override.txt", "--language", "en-US", "-o", "-")  # no alphabet
    sides.inputs["lexicon.pls"] = written["lexicon.pls"]
    _, written = sides.same("import-pls", "lexicon.pls", "rich.pls", "-o", "both.img")
    with speechcommon.Dictionary.open(written["both.img"]) as both:
        entries = both.lookup("tomato")
        assert {e.model for e in entries} == {"alphabet:x-sampa", "alphabet:ipa"}
        assert both.info.name == "lexicon"
    sides.inputs["both.img"] = written["both.img"]
    sides.same("export-pls", "both.img", "--language", "en-GB", "-o", "-")
    sides.same("import-pls", "rich.pls", "-o", "rich.txt")
    sides.same("import-pls", "rich.pls", "-o", "-")
    for bad in ("mismatch.pls", "cut.pls", "stranger.pls", "bare.pls", "missing.pls"):
        failed, _ = sides.same("import-pls", "rich.pls", bad, "-o", "x.img")
        # The first lexicon's warnings, then the failure naming the second.
        assert failed.returncode == 1 and b"rich.pls:5:3: warning: the role" in failed.stderr
        assert failed.stderr.splitlines()[-1].startswith(b"speechcommon: " + bad.encode())


MANY = (b"[Header]\nName = many\n\n[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n"
        b"Representation = EDCT_REPR_SZ_STRING\n[Data]\nroad first\nroad second\nroad third\nlane only\n"
        b"[SubHeader]\nContent = EDCT_CONTENT_BROAD_NARROWS\nLanguage = en\n"
        b"Representation = EDCT_REPR_SZZ_STRING\n[Data]\nroad //r@Ud\nroad //ro:d//rOd\n")


def test_decompile_keeps_order_and_refuses_what_text_cannot_carry(tool, tmp_path):
    # An image the text form cannot carry: a key with a tab and no blank, empty user words.
    with speechcommon.Dictionary() as refused:
        refused.set_info("refused", None)
        refused.add("fine", speechcommon.Entry.orthographic("kept"))
        refused.add("tab\tkey", speechcommon.Entry.orthographic("lost"))
        refused.add("none", speechcommon.Entry.userwords(b""))
        refused.add("caf\u00e9\x07\"", speechcommon.Entry.orthographic(" padded "))  # escaped
        refused_image = refused.archive()
    with speechcommon.Dictionary.from_text(MANY) as many:
        many_image = many.archive()
    sides = Sides(tool, tmp_path, {"many.txt": MANY, "many.img": many_image,
                                   "refused.img": refused_image,
                                   "header.txt": b"[Header]\nName = only a header\n"})

    # A key's records come back in their order, from an image and from text, in each encoding.
    with speechcommon.Dictionary.open(many_image) as many:
        expected = {key: many.lookup(key) for key in many.keys()}
    assert len({str(e.value) for e in expected["road"]}) == 5  # the order is there to lose
    for source in ("many.img", "many.txt"):
        for encoding in ("utf8", "ucs2le", "ucs2be"):
            _, written = sides.same("decompile", source, "-o", "out.txt", "--encoding", encoding)
            with speechcommon.Dictionary.from_text(written["out.txt"]) as back:
                assert {key: back.lookup(key) for key in back.keys()} == expected, encoding
    sides.same("decompile", "many.img", "-o", "-")

    # Refused: the first key and why, the rest counted, and nothing written.
    for encoding in ([], ["--encoding", "ucs2le"]):
        failed, written = sides.same("decompile", "refused.img", "-o", "out.txt", *encoding)
        assert failed.returncode == 1 and "out.txt" not in written
        assert b"so none is written (2 more: 'speechcommon dict check refused.img" in failed.stderr
        checked, _ = sides.same("check", "refused.img", *encoding)
        assert checked.stdout.count(b"warning: key ") == 3
    sides.same("decompile", "-", "-o", "-", stdin=refused_image)

    # A lexicon without entries is not compiled.
    failed, written = sides.same("compile", "header.txt", "-o", "header.img")
    assert failed.returncode == 1 and b"header.txt: no entries" in failed.stderr
    assert "header.img" not in written
