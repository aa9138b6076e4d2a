"""Shared fixtures. The package under test is the one beside these tests; the library is found as
a user's would be (run by CTest, SPEECHCOMMON_LIBRARY names the one just built)."""

from __future__ import annotations

import gc
import os
import sys
import warnings
from pathlib import Path

import pytest

PYTHON_DIR = Path(__file__).resolve().parents[1]
SOURCE_ROOT = PYTHON_DIR.parent
sys.path.insert(0, str(PYTHON_DIR))

import speechcommon  # noqa: E402


@pytest.fixture(autouse=True)
def nothing_left_to_finalisers():
    """A test that leaves something open fails: finalisers are a safety net, not the way the
    package closes what it opened itself (a walk's iterator, a block's mapping)."""
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always", ResourceWarning)
        yield
        gc.collect()
    left = [str(w.message) for w in caught if issubclass(w.category, ResourceWarning)]
    assert not left, f"closed by finalisers: {left}"


@pytest.fixture(scope="session")
def source_root() -> Path:
    return SOURCE_ROOT


@pytest.fixture(scope="session")
def example_tree() -> Path:
    """The broker example's installed tree: the built one (with its voice module) when CTest
    names it, else the one in the sources (headers and data only)."""
    built = os.environ.get("SPEECHCOMMON_EXAMPLE_TREE")
    return Path(built) if built else SOURCE_ROOT / "examples" / "broker" / "tree"


@pytest.fixture(scope="session")
def tool() -> Path:
    found = os.environ.get("SPEECHCOMMON_TOOL")
    if not found or not Path(found).exists():
        pytest.skip("the speechcommon tool is not built (CTest names it in SPEECHCOMMON_TOOL)")
    return Path(found)


@pytest.fixture
def sample() -> speechcommon.Dictionary:
    """A writable dictionary with every kind of entry, several sections, and a key beyond the
    Basic Multilingual Plane."""
    from speechcommon import Entry

    dictionary = speechcommon.Dictionary()
    dictionary.set_info("Sample", "Every kind of entry")
    dictionary.add("tomato", Entry.pronunciations(["t@meIt@U", "t@mA:t@U"], language="en-US"))
    dictionary.add("tomato", Entry.orthographic("tomayto", language="en-US"))
    dictionary.add("Dr.", Entry.orthographic("doctor", language="en-US"),
                   Entry.orthographic("drive", language="en-US"))
    dictionary.add("café", Entry.orthographic("Kaffeehaus", language="de", engine="tts"))
    dictionary.add("𝄞clef", Entry.userwords(b"\x00\x01\xfe", language="x", model="alphabet:ipa",
                                            engine="e"))
    dictionary.add("wide", Entry(speechcommon.Content.ORTHOGRAPHIC, "ünïcode 😀",
                                 speechcommon.Representation.WSZ_STRING, pos=7, language="x",
                                 model="alphabet:ipa", engine="e"))
    yield dictionary
    dictionary.close()
