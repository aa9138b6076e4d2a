"""Errors with the library's texts; closed objects refusing use; finalisers as a safety net; no
library object or memory left behind across thousands of open and close cycles."""

from __future__ import annotations

import ctypes
import gc
import os
import re
import warnings

import pytest

import speechcommon
from speechcommon import (Broker, DataHeaderFile, Dictionary, DictionaryManager, Entry,
                          SpeechCommonError, codes, write_data_header)


def table_texts(source_root) -> dict[int, str]:
    """Each code's text as the code tables give it: its own, or its general reason's."""
    general = dict(re.findall(r'^SC_GENERAL_FAILURE\((\d+), \w+, "(.*)"\)$',
                              (source_root / "foundation" / "general_codes.def").read_text(), re.M))
    texts = {}
    for path in source_root.glob("*/*_codes.def"):
        for value, text in re.findall(r'^SC_CODE\((0x[0-9A-F]+)u, \w+, "(.*)"\)$',
                                      path.read_text(), re.M):
            texts[int(value, 16)] = text
        for value in re.findall(r'^SC_CODE_GENERAL\((0x[0-9A-F]+)u', path.read_text(), re.M):
            texts[int(value, 16)] = general[str(int(value, 16) & 0x7F)]
    return texts


def raised(call) -> SpeechCommonError:
    with pytest.raises(SpeechCommonError) as caught:
        call()
    return caught.value


def test_errors_carry_the_owning_familys_names_and_texts(source_root, example_tree, tmp_path):
    texts = table_texts(source_root)
    closed = Dictionary()
    closed.close()
    broker = Broker(example_tree)
    cases = [
        (lambda: Dictionary.open(b"\x03" + bytes(40)), "EDCT_E_CORRUPT", "EDCTSPI", "EDCTSPI"),
        (lambda: DataHeaderFile(tmp_path / "none.hdr"), "HDRPARS_E_FILE_OPEN", "HDRPARS",
         "Parser submodule"),
        (lambda: broker.open("demo/none"), "BRK_E_ENGINE_NOT_FOUND", "BROKER",
         "Broker submodule"),
        (lambda: closed.lookup("x"), "SRVSPI_E_SEC_INVALID_HANDLE", "SRVSPI", None),
    ]
    for call, name, module, submodule in cases:
        error = raised(call)
        assert (error.code, error.name, error.module) == (codes.__getattr__(name), name, module)
        if submodule:
            assert error.submodule == submodule
        assert error.message == texts[error.code]
        assert f"{name} 0x{error.code:08X}: {texts[error.code].strip()}" in str(error)
    broker.close()
    assert speechcommon.code_name(codes.EDCT_E_NOT_FOUND) == "EDCT_E_NOT_FOUND"
    assert speechcommon.code_name(0x12345678) is None
    assert "EDCT_E_CORRUPT" in dir(codes) and "NOT_A_CODE" not in codes


def test_closed_objects_refuse_use(example_tree, tmp_path):
    path = tmp_path / "h.hdr"
    write_data_header(path, [("COMPTYPE", "X")], {"data": b"abc"})
    header = DataHeaderFile(path)
    block = header.open_block("data")
    broker = Broker(example_tree)
    obj = broker.open("demo/tts", "en")
    data = obj.data("demo/voice/en/bert")
    dictionary, manager = Dictionary(), DictionaryManager()
    uses = [
        (dictionary, lambda: dictionary.add("k", Entry.orthographic("v")), "SRVSPI_E_SEC_INVALID_HANDLE"),
        (manager, lambda: manager.lookup("k"), "SRVSPI_E_SEC_INVALID_HANDLE"),
        (block, block.read, "HDRPARS_E_INVALID_ARGUMENT"),
        (header, lambda: header.open_block("data"), "HDRPARS_E_INVALID_ARGUMENT"),
        (data, data.read, "BRK_E_INVALID_ARGUMENT"),
        (obj, lambda: obj.tag("demo/tts", "NAME"), "BRK_E_INVALID_ARGUMENT"),
        (broker, broker.open, "BRK_E_INVALID_ARGUMENT"),
    ]
    # Closing a parent closes what was opened through it: the header its block, the broker its
    # object and the object's data.
    header.close()
    broker.close()
    for owner, use, name in uses:
        owner.close()
        owner.close()  # twice does nothing
        assert owner.closed
        error = raised(use)
        assert error.name == name and "closed" in str(error)
        with pytest.raises(SpeechCommonError):
            with owner:
                pass


def test_finalisers_close_what_was_left_open(example_tree):
    broker = Broker(example_tree)
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always", ResourceWarning)
        obj = broker.open("demo/tts", "en")
        obj.data("demo/voice/en/bert").view()
        manager = DictionaryManager()
        dictionary = Dictionary()
        manager.register(dictionary)
        del obj, manager, dictionary
        gc.collect()
        # At exit finalisers run newest first: a dictionary may go before its manager, and
        # leaves it first.
        manager, dictionary = DictionaryManager(), Dictionary()
        manager.register(dictionary)
        dictionary._finaliser()
        assert dictionary.closed and manager.dictionaries == []
        manager.close()
    assert {str(w.message) for w in caught} >= {"unclosed the broker object on demo/tts",
                                                "unclosed a dictionary manager"}
    broker.close()  # refused while the object or its data were still open


class _Mallinfo2(ctypes.Structure):
    _fields_ = [(name, ctypes.c_size_t) for name in (
        "arena", "ordblks", "smblks", "hblks", "hblkhd", "usmblks", "fsmblks", "uordblks",
        "fordblks", "keepcost")]


def heap_in_use() -> int:
    libc = ctypes.CDLL(None)
    libc.mallinfo2.restype = _Mallinfo2
    gc.collect()
    return libc.mallinfo2().uordblks


def test_no_leaks_across_thousands_of_cycles(sample, example_tree, tmp_path):
    image = tmp_path / "sample.img"
    image.write_bytes(sample.archive())
    broker = Broker(example_tree)

    def cycle(i: int) -> None:
        with Dictionary.open(image) as view, DictionaryManager() as manager:
            manager.register(view)
            assert manager.lookup("tomato").dictionary is view
            for _ in view.walk():
                break  # a walk left early gives its iterator back
        with Dictionary() as dictionary:
            dictionary.add(f"key{i}", Entry.orthographic("value"))
            Dictionary.open(dictionary.archive()).close()
        with broker.open("demo/tts", "en") as obj, obj.data("demo/rules/numbers:table") as table:
            table.view()
            obj.components("VOICE")

    for i in range(200):
        cycle(i)
    before, descriptors = heap_in_use(), len(os.listdir("/proc/self/fd"))
    for i in range(3000):
        cycle(i)
    # Closed blocks wait in the library's quarantine (up to 1 MiB) before going back.
    assert heap_in_use() - before < 2 * 1024 * 1024
    assert len(os.listdir("/proc/self/fd")) == descriptors
    broker.close()  # the library counts no object or data block left open on it
