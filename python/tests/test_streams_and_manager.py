"""Text streams in the three encodings, to and from paths and file objects; the manager's order
and its answering dictionary."""

from __future__ import annotations

import io

import pytest

from speechcommon import (Content, Dictionary, DictionaryManager, Entry, SpeechCommonError,
                          codes)

STREAM = """[Header]
Name = Demo
Description = Test

[SubHeader]
Language = en
Content = EDCT_CONTENT_ORTHOGRAPHIC
Representation = EDCT_REPR_SZ_STRING

[Data]
hello\t"hello world"
hi\thi

[SubHeader]
Content = EDCT_CONTENT_BROAD_NARROWS
Representation = EDCT_REPR_SZZ_STRING
Model = alphabet:ipa

[Data]
hello\t//h@loU//hEloU
"""


def carried(entries):
    # What the text form carries back: no POS, a key's entries in reverse, and attributes that
    # an earlier section had where a later one has none (so only those given are compared).
    return sorted(repr((e.content, e.representation, e.value, e.language, e.model, e.engine))
                  for e in entries)


def test_streams_written_and_read_back_in_each_encoding(sample, tmp_path):
    written = {}
    for encoding in ("utf8", "ucs2le", "ucs2be"):
        path = tmp_path / f"{encoding}.txt"
        sample.write_text(path, encoding)
        out = io.BytesIO()
        sample.write_text(out, encoding)
        written[encoding] = path.read_bytes()
        assert out.getvalue() == written[encoding] == sample.to_text(encoding)
        for source in (path, io.BytesIO(written[encoding]), written[encoding]):
            with Dictionary.from_text(source) as back:
                assert back.keys() == sample.keys()
                assert back.info.name == "Sample"
                for key in sample:
                    assert carried(back.lookup(key)) == carried(sample.lookup(key))
    assert written["ucs2le"].startswith(b"\xff\xfe") and written["ucs2be"].startswith(b"\xfe\xff")
    swapped = bytearray(written["ucs2le"])
    swapped[0::2], swapped[1::2] = swapped[1::2], swapped[0::2]
    assert bytes(swapped) == written["ucs2be"]
    # Both carry the same text: the 8-bit form writes a surrogate pair as two 3-byte sequences.
    paired = written["utf8"].decode("utf-8", "surrogatepass").encode("utf-16-le", "surrogatepass")
    assert paired.decode("utf-16-le") == written["ucs2le"].decode("utf-16")


def test_hand_written_streams_in_every_encoding():
    sources = [
        (STREAM.encode("utf-8"), None),
        (b"\xef\xbb\xbf" + STREAM.encode("utf-8"), None),  # a UTF-8 mark is skipped
        (b"\xfe\xff" + STREAM.encode("utf-16-be"), None),
        (STREAM.replace("\n", "\r\n").encode("utf-16-le"), "ucs2le"),  # the mark is added
    ]
    for data, encoding in sources:
        with Dictionary.from_text(data, encoding) as dictionary:
            assert dictionary.info.name == "Demo" and dictionary.info.description == "Test"
            assert dictionary.lookup("hi") == [Entry.orthographic("hi", language="en")]
            assert dictionary.lookup("hello", content=Content.BROAD_NARROWS) == [
                Entry.pronunciations(["h@loU", "hEloU"], language="en", model="alphabet:ipa")]


def test_a_refused_stream_says_where_and_keeps_what_was_read():
    bad = STREAM.replace("EDCT_CONTENT_BROAD_NARROWS", "EDCT_CONTENT_BOGUS")
    with Dictionary() as dictionary:
        with pytest.raises(SpeechCommonError) as refused:
            dictionary.read_text(bad.encode())
        error = refused.value
        assert error.code == codes.EDCT_E_UNKNOWN_FORMAT
        assert (error.problem.line, error.problem.column) == (15, 11)
        assert error.problem.found == "EDCT_CONTENT_BOGUS"
        assert "15:11" in str(error) and "EDCT_E_UNKNOWN_FORMAT" in str(error)
        assert [e.value for e in dictionary.lookup("hello")] == ["hello world"]
        with pytest.raises(ValueError):
            dictionary.read_text(b"", "utf16")
        with pytest.raises(TypeError):
            dictionary.read_text(io.StringIO(STREAM))


def test_failing_file_objects_are_reported_with_their_cause(sample):
    class Broken(io.RawIOBase):
        def readable(self):
            return True

        def writable(self):
            return True

        def readinto(self, buffer):
            raise OSError("disk gone")

        def write(self, data):
            raise OSError("disk full")

    class FailsLater(Broken):
        def __init__(self):
            self.given = False

        def readinto(self, buffer):
            if self.given:
                raise OSError("disk gone")
            self.given = True
            buffer[:9] = b"[Header]\n"
            return 9

    with pytest.raises(SpeechCommonError) as reading:
        Dictionary.from_text(FailsLater())
    assert reading.value.code == codes.EDCT_E_READSTREAM_FAILED
    assert str(reading.value.__cause__) == "disk gone"
    with pytest.raises(SpeechCommonError) as writing:
        sample.write_text(Broken())
    assert writing.value.code == codes.EDCT_E_WRITESTREAM_FAILED
    assert str(writing.value.__cause__) == "disk full"


def test_manager_searches_by_priority_and_names_the_answer(sample):
    override = Dictionary.from_text(STREAM.encode())
    extra = Dictionary()
    extra.add("hi", Entry.orthographic("hey", language="en"))
    extra.add("tomato", Entry.orthographic("tomahto", language="en-GB"))
    with DictionaryManager() as manager:
        manager.register(sample)
        manager.register(extra)
        manager.register(override, priority=5)
        assert manager.dictionaries == [override, sample, extra]
        answer = manager.lookup("hi")
        assert answer.dictionary is override and [e.value for e in answer.entries] == ["hi"]
        # The first dictionary with entries that pass the filter answers with all of them.
        assert manager.lookup("tomato").dictionary is sample
        assert manager.lookup("tomato", language="en-GB").dictionary is extra
        assert manager.get("nowhere") is None
        with pytest.raises(SpeechCommonError) as registered:
            override.close()
        assert registered.value.code == codes.EDCT_E_STILL_REGISTERED
        with pytest.raises(SpeechCommonError) as twice:
            manager.register(sample)
        assert twice.value.code == codes.EDCT_E_ALREADY_REGISTERED
        manager.unregister(override)
        assert manager.lookup("hi").dictionary is extra
        override.close()
        last = Dictionary()
        manager.register(last, priority=-1)
        assert manager.dictionaries == [sample, extra, last]
    # Closing the manager unregistered the rest: they close.
    extra.close()
    last.close()
    assert manager.closed and not sample.closed
