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
