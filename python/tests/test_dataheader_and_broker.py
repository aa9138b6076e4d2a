"""Data header files (written, hand-made, damaged) and the broker over the example tree."""

from __future__ import annotations

import ctypes

import pytest

from speechcommon import (Broker, DataHeaderFile, Element, SpeechCommonError, codes,
                          write_data_header)


def hand_made(elements: str, data: bytes = b"", size: int = 0) -> bytes:
    """A file as the format lays it out, with one block "data" of the given SIZE."""
    block = ("<DATABLOCK><BROKERSTRING>data</BROKERSTRING><OFFSET>           0</OFFSET>"
             f"<SIZE>{size:12d}</SIZE></DATABLOCK>") if size else ""
    text = f"<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n{elements}{block}\r\n</HEADER>"
    out = b"\xff\xfe" + text.encode("utf-16-le")
    if size:
        out += "\r\n<BINARYDATA>".encode("utf-16-le") + data + "</BINARYDATA>".encode("utf-16-le")
    return out + "\r\n</VQS>".encode("utf-16-le")


def test_written_files_read_back_with_nested_elements_and_blocks(tmp_path):
    path = tmp_path / "voice é.hdr"
    payload = bytes(range(256)) * 3
    write_data_header(path, [
        ("COMPTYPE", "VOICE"),
        ("INFO", [("LANGUAGE", "en-US"), ("NAME", "Ünïcode 😀"), ("DEEP", [("LEAF", "x")])]),
        Element("DATABLOCK", children=[Element("BROKERSTRING", "units"), Element("NOTE", "v2")]),
    ], {"units": payload, "data": b"second"})
    with DataHeaderFile(path) as header:
        assert [e.name for e in header.elements] == ["COMPTYPE", "INFO", "DATABLOCK", "DATABLOCK"]
        assert header.find("INFO", "NAME").value == "Ünïcode 😀"
        assert header["INFO/DEEP/LEAF"].value == "x"
        assert header.find("INFO", "MISSING") is None
        with pytest.raises(KeyError):
            header["NOPE"]
        assert [(b.name, b.offset, b.size) for b in header.blocks] == [
            ("units", 0, len(payload)), ("data", len(payload), 6)]
        assert header["DATABLOCK/NOTE"].value == "v2"  # the writer kept the given element
        assert header.read_block("units") == payload
        with header.open_block("data") as block:
            view = block.view()
            assert view.readonly and bytes(view) == b"second"
            assert block.read(2, 3) == b"con" and bytes(block.view(4)) == b"nd"
        with pytest.raises(ValueError):
            view.tobytes()  # released with its block
        with pytest.raises(SpeechCommonError) as missing:
            header.read_block("absent")
        assert missing.value.code == codes.HDRPARS_E_DATABLOCK_NOT_FOUND


def test_hand_made_and_damaged_files(tmp_path):
    good = tmp_path / "good.hdr"
    good.write_bytes(hand_made("<COMPTYPE> ADDON </COMPTYPE>", b"12345", 5))
    with DataHeaderFile(good) as header:
        assert header["COMPTYPE"].value == "ADDON"  # values lose their blanks
        assert header.read_block("data") == b"12345"
    short = tmp_path / "short.hdr"
    short.write_bytes(hand_made("", b"123", 5)[: -len("</BINARYDATA>\r\n</VQS>") * 2])
    with DataHeaderFile(short) as header:
        with pytest.raises(SpeechCommonError) as cut:
            header.read_block("data")
        assert cut.value.code == codes.HDRPARS_E_END_OF_FILE
    wrong = tmp_path / "wrong.hdr"
    wrong.write_bytes("<VQS><VERSION>1.0</VERSION>".encode("utf-16-le"))
    for path, expected in ((wrong, "HDRPARS_E_WRONG_FORMAT"), (tmp_path / "absent.hdr", "HDRPARS_E_FILE_OPEN")):
        with pytest.raises(SpeechCommonError) as refused:
            DataHeaderFile(path)
        assert refused.value.name == expected


def test_broker_over_the_example_tree(example_tree):
    with Broker(example_tree) as broker:
        [engine] = broker.engines()
        assert (engine.broker_string, engine.name, engine.version) == ("demo/tts", "Demo synthesiser", "1.2")
        assert broker.engines("ASRENGINE") == []
        with broker.open("demo/tts", "en") as english, broker.open("DEMO/TTS", "de") as german:
            voices = {v.broker_string: (v.name, v.language, v.priority) for v in english.components("VOICE")}
            assert voices == {"demo/voice/en/anna": ("Anna", "en", 5), "demo/voice/en/bert": ("Bert", "en", 2),
                              "demo/voice/de/clara": ("Clara", "de", 9)}
            assert english.resolve("demo/voice/def") == "demo/voice/en/anna"
            assert german.resolve("demo/voice/def") == "demo/voice/de/clara"
            assert english.resolve("Demo/Voice/EN/Bert") == "Demo/Voice/EN/Bert"
            assert english.broker_string("VOICE", "Clara") == "demo/voice/de/clara"
            assert english.tag("demo/voice/en/anna", "VERSION") == "2.0"
            assert english.tag("demo/tts", "NAME") == "Demo synthesiser"
            assert english.info("demo/voice/en/anna").endswith("tts/voices/libdemo_voice.so")
            assert [c.broker_string for c in english.components("LEXICON")] == ["demo/lexicon/builtin"]
            with english.data("demo/voice/en/bert") as units:
                assert units.size == len(b"bert's recorded units")
                assert units.read() == b"bert's recorded units" and units.read(7, 8) == b"recorded"
                with pytest.raises(SpeechCommonError) as past:
                    units.read(10, 100)
                assert past.value.code == codes.BRK_E_CANNOT_READ_DATA
            table = english.data("demo/rules/numbers:table")
            assert bytes(table.view()) == b"0=zero 1=one 2=two 3=three"
            assert english.tag("demo/rules/numbers:table", "SIZE").strip() == "26"
            for call, expected in ((lambda: broker.open("demo/asr"), "BRK_E_ENGINE_NOT_FOUND"),
                                   (lambda: english.tag("demo/voice/xx", "NAME"), "BRK_E_BROKER_STRING_NOT_FOUND"),
                                   (lambda: english.tag("demo/tts", "NOTHING"), "BRK_E_TAG_NOT_FOUND"),
                                   (lambda: english.broker_string("VOICE", "Dora"), "BRK_E_MODULE_NOT_FOUND"),
                                   (lambda: english.interface("demo/voice/en/bert", 1), "BRK_E_TAG_NOT_FOUND")):
                with pytest.raises(SpeechCommonError) as refused:
                    call()
                assert refused.value.name == expected
        # The objects were closed by their with block; a data block left open was closed with
        # its object, so the broker closes.
        assert table.closed


def test_a_voice_speaks_through_its_interface(example_tree):
    if not (example_tree / "tts" / "voices" / "libdemo_voice.so").exists():
        pytest.skip("the example's voice module is built with the examples")

    class DemoVoice(ctypes.Structure):
        _fields_ = [("speak", ctypes.CFUNCTYPE(None, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_ulong))]

    with Broker(example_tree) as broker, broker.open("demo/tts", "en") as voice_object:
        with voice_object.interface(voice_object.resolve("demo/voice/def"), 1) as interface:
            said = ctypes.create_string_buffer(128)
            interface.cast(DemoVoice).contents.speak(b"hello", said, len(said))
            assert said.value == b'Anna says: "hello" (sentence 1)'
        with pytest.raises(SpeechCommonError) as unknown:
            voice_object.interface("demo/voice/en/anna", 99)
        assert unknown.value.code == codes.BRK_E_INTERFACE_NOT_FOUND
