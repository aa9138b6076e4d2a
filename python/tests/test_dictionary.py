"""Dictionaries: entries of every kind through archive images read in place and copied, image
checks, filters, walks and keys beyond the Basic Multilingual Plane."""

from __future__ import annotations

import mmap
import sys

import pytest

from speechcommon import (Content, Dictionary, Entry, Representation, SpeechCommonError,
                          check_image, codes)


def contents(dictionary: Dictionary) -> dict:
    return {key: dictionary.lookup(key) for key in dictionary}


def units(key: str) -> bytes:
    return key.encode("utf-16-be", "surrogatepass")


def test_archive_read_in_place_from_bytes_mmap_and_path(sample, tmp_path):
    # U+1D11E is a surrogate pair (D834 DD1E) and sorts before U+FB01 by UTF-16 units, after it
    # by code points: the keys must come in the library's order, not Python's.
    sample.add("\ufb01x", Entry.orthographic("fix"))
    sample.add("\U0001d11e", Entry.orthographic("clef"))
    expected = contents(sample)
    image = sample.archive()
    path = tmp_path / "sample.img"
    path.write_bytes(image)
    with open(path, "rb") as file:
        mapped = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
    for source in (image, mapped, path, str(path)):
        with Dictionary.open(source) as view:
            assert not view.writable
            assert view.keys() == sorted(expected, key=units)
            assert view.keys().index("\U0001d11e") < view.keys().index("\ufb01x")
            assert contents(view) == expected
            assert view.info == sample.info
            assert "𝄞clef" in view and "nothing" not in view
            walked = list(view.walk())
            # Section by section; within one, keys strictly ascending by UTF-16 units.
            for before, after in zip(walked, walked[1:]):
                if not after.new_section:
                    assert units(before.key) < units(after.key)
            assert sorted({item.key for item in walked}, key=units) == view.keys()
            with pytest.raises(SpeechCommonError) as refused:
                view.add("new", Entry.orthographic("x"))
            assert refused.value.code == codes.EDCT_E_READ_ONLY
    mapped.close()


def test_writable_copy_reverses_a_keys_entries_and_can_change(sample):
    image = sample.archive()
    with Dictionary.open(image, writable=True) as copy:
        assert copy.writable
        original = sample.lookup("Dr.")
        assert [e.value for e in original] == ["drive", "doctor"]  # newest first
        assert copy.lookup("Dr.") == list(reversed(original))
        copy.remove("Dr.")
        assert copy.get("Dr.") is None
        with pytest.raises(SpeechCommonError) as missing:
            copy.remove("Dr.")
        assert missing.value.name == "EDCT_E_NOT_FOUND"
        assert copy.info.keys == sample.info.keys - 1


def test_damaged_images_are_refused_before_opening(sample, tmp_path):
    image = sample.archive()
    swapped = sample.archive(swap=True)
    truncated = image[: len(image) // 2]
    # A section count (the header's sixth word) far beyond what the image holds.
    corrupt = bytearray(image)
    corrupt[20:24] = (100000).to_bytes(4, sys.byteorder)
    empty = tmp_path / "empty.img"
    empty.write_bytes(b"")
    for bad in (truncated, swapped, bytes(corrupt), b"\x03\x00\x00\x00", empty):
        with pytest.raises(SpeechCommonError) as refused:
            Dictionary.open(bad)
        assert refused.value.code == codes.EDCT_E_CORRUPT
        if not isinstance(bad, type(empty)):
            with pytest.raises(SpeechCommonError):
                check_image(bad)
    check_image(image)
    # An image without sections has nothing to read in place: it opens empty and writable.
    with Dictionary() as nothing, Dictionary.open(nothing.archive()) as opened:
        assert opened.writable and opened.keys() == []


def test_images_stay_put_while_viewed(sample, tmp_path):
    image = sample.archive()
    path = tmp_path / "held.img"
    path.write_bytes(image)
    with open(path, "r+b") as file:
        mapped = mmap.mmap(file.fileno(), 0)
    view = Dictionary.open(mapped)
    with pytest.raises(BufferError):
        mapped.close()  # the view reads it in place
    view.close()
    mapped.close()
    # A bytearray could change under the view, and an unaligned slice cannot be read in place:
    # both are copied.
    changing = bytearray(image)
    for source in (changing, memoryview(b"x" + image)[1:]):
        with Dictionary.open(source) as view:
            changing[:] = bytes(len(changing))
            assert contents(view) == contents(sample)


def test_filters_select_entries(sample):
    sample.add("plain", Entry.orthographic("no attributes"))
    image = sample.archive()
    with Dictionary.open(image) as view:
        for dictionary in (sample, view):
            assert [e.content for e in dictionary.lookup("tomato", content=Content.BROAD_NARROWS)] == [
                Content.BROAD_NARROWS]
            assert [e.value for e in dictionary.lookup("café", language="de", engine="tts")] == [
                "Kaffeehaus"]
            assert dictionary.get("café", language="en-US") is None
            assert dictionary.get("café", engine="asr") is None
            assert dictionary.lookup("𝄞clef", model="alphabet:ipa")[0].value == b"\x00\x01\xfe"
            assert dictionary.get("𝄞clef", model="alphabet:x-sampa") is None
            assert dictionary.lookup("wide", pos=7)[0].value == "ünïcode 😀"
            with pytest.raises(SpeechCommonError) as missing:
                dictionary.lookup("tomato", language="fr")
            assert missing.value.code == codes.EDCT_E_NOT_FOUND
        # A writable dictionary lets a section without a language pass a language filter; a
        # view does not.
        assert sample.lookup("plain", language="en-US")
        assert view.get("plain", language="en-US") is None


def test_entries_keep_every_attribute_and_kind(sample):
    [wide] = sample.lookup("wide")
    assert wide == Entry(Content.ORTHOGRAPHIC, "ünïcode 😀", Representation.WSZ_STRING, pos=7,
                         language="x", model="alphabet:ipa", engine="e")
    [clef] = sample.lookup("𝄞clef")
    assert (clef.content, clef.representation, clef.model, clef.pos) == (
        Content.USERWORDS, Representation.BINARY, "alphabet:ipa", None)
    odd = Entry(9, b"raw", representation=12, language="x")
    sample.add("odd", odd)
    assert sample.lookup("odd") == [odd]  # any value is stored and matched
    for bad in (Entry.pronunciations(["a", ""]), Entry.orthographic("a\0b"),
                Entry(Content.ORTHOGRAPHIC, b"bytes"), Entry.userwords(b"x", model="m" * 128)):
        with pytest.raises((TypeError, ValueError)):
            sample.add("bad", bad)
    with pytest.raises(ValueError):
        sample.add("a\0b", Entry.orthographic("x"))
    assert sample.get("bad") is None


def test_a_walk_holds_changes_off_until_it_ends(sample):
    walk = sample.walk()
    first = next(walk)
    with pytest.raises(SpeechCommonError) as refused:
        sample.add("during", Entry.orthographic("x"))
    assert refused.value.code == codes.EDCT_E_ITERATOR_OPEN
    walk.close()
    sample.add("after", Entry.orthographic("x"))
    assert first.new_section
    # Closing the dictionary closes a walk left open; the walk then refuses to go on.
    walk = sample.walk()
    next(walk)
    sample.close()
    with pytest.raises(SpeechCommonError):
        next(walk)
