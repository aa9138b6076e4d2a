"""Text across the C interface.

Wide strings are NUL-terminated UTF-16 units, so a Python str travels as its UTF-16 form (a
character beyond U+FFFF as its surrogate pair) and comes back whole. The dictionaries' 8-bit text
encodes each UTF-16 unit on its own, 1 to 3 bytes (a surrogate pair as two 3-byte sequences),
which is what the library writes when it turns wide text into 8-bit text; this package writes the
same form, so an attribute or string given here equals the one a text stream gives.
"""

from __future__ import annotations

import ctypes
from typing import Optional

from ._library import c_char16_p


def to_utf16(text: str, what: str = "text") -> ctypes.Array:
    """A NUL-terminated UTF-16 buffer for a str; a NUL inside it would cut it short."""
    if not isinstance(text, str):
        raise TypeError(f"{what} must be str, not {type(text).__name__}")
    if "\0" in text:
        raise ValueError(f"{what} may not contain NUL: {text!r}")
    units = text.encode("utf-16-le", "surrogatepass")
    buffer = (ctypes.c_uint16 * (len(units) // 2 + 1)).from_buffer_copy(units + b"\0\0")
    return buffer


def as_char16_p(buffer: ctypes.Array) -> c_char16_p:
    return ctypes.cast(buffer, c_char16_p)


def from_utf16(pointer: "Optional[c_char16_p] | int") -> Optional[str]:
    """The str of a NUL-terminated UTF-16 string, or None for a null pointer."""
    address = pointer if isinstance(pointer, int) else ctypes.cast(pointer, ctypes.c_void_p).value
    if not address:
        return None
    units = ctypes.cast(address, ctypes.POINTER(ctypes.c_uint16))
    length = 0
    while units[length]:
        length += 1
    return ctypes.string_at(address, 2 * length).decode("utf-16-le", "surrogatepass")


def utf16_units_to_str(units: list[int]) -> str:
    raw = b"".join(unit.to_bytes(2, "little") for unit in units)
    return raw.decode("utf-16-le", "surrogatepass")


def encode8(text: str) -> bytes:
    """The dictionaries' 8-bit form of a str: every UTF-16 unit on its own."""
    units = text.encode("utf-16-le", "surrogatepass")
    out = bytearray()
    for i in range(0, len(units), 2):
        unit = units[i] | (units[i + 1] << 8)
        if unit < 0x80:
            out.append(unit)
        elif unit < 0x800:
            out += bytes((0xC0 | (unit >> 6), 0x80 | (unit & 0x3F)))
        else:
            out += bytes((0xE0 | (unit >> 12), 0x80 | ((unit >> 6) & 0x3F), 0x80 | (unit & 0x3F)))
    return bytes(out)


def decode8(raw: bytes) -> str:
    """The str the library reads in 8-bit text: its decoding never refuses bytes, and two
    3-byte sequences of a surrogate pair give one character."""
    units: list[int] = []
    i, n = 0, len(raw)
    while i < n and raw[i]:
        b0 = raw[i]
        if b0 < 0x80:
            units.append(b0)
            i += 1
            continue
        if i + 1 >= n or raw[i + 1] == 0:
            break
        b1 = raw[i + 1]
        if b0 < 0xE0:
            units.append(((b0 & 0x1F) << 6) | (b1 & 0x3F))
            i += 2
            continue
        if i + 2 >= n or raw[i + 2] == 0:
            break
        b2 = raw[i + 2]
        units.append(((b0 & 0x0F) << 12) | ((b1 & 0x3F) << 6) | (b2 & 0x3F))
        i += 3
    if all(unit < 0x80 for unit in units):
        return bytes(units).decode("ascii")
    return utf16_units_to_str(units)


def c_string8(text: Optional[str]) -> Optional[bytes]:
    """A NUL-terminated 8-bit string for the C side (ctypes adds the NUL), or None."""
    if text is None:
        return None
    if "\0" in text:
        raise ValueError(f"text may not contain NUL: {text!r}")
    return encode8(text)


def path_bytes(path: "str | bytes | object") -> bytes:
    """Paths go through as the bytes the file system knows them by."""
    import os

    return os.fsencode(path)  # type: ignore[arg-type]
