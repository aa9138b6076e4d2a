"""Result codes as Python sees them: one exception class, and the codes by name."""

from __future__ import annotations

from typing import Optional

from . import _codetable
from ._library import FAMILIES, library


def _text(raw: Optional[bytes]) -> Optional[str]:
    return None if raw is None else raw.decode("utf-8", "replace")


def code_name(code: int) -> Optional[str]:
    """The public name of a code the library returns (``EDCT_E_NOT_FOUND``), or None."""
    return _codetable.BY_VALUE.get(code & 0xFFFFFFFF)


def code(name: str) -> int:
    """The value of a code by its public name; KeyError for a name no family has."""
    return _codetable.NAMES[name]


def module_id(value: int) -> int:
    return (value >> 16) & 0x7FFF


def describe(value: int) -> tuple[str, Optional[str], Optional[str]]:
    """(module name, submodule name, message) as the family owning the code reads them."""
    lib = library()
    value &= 0xFFFFFFFF
    module = _text(lib.vq_ErrorGetModuleName(value)) or "Unknown Module"
    family = FAMILIES.get(module_id(value))
    if family is None:
        # The trace family and unknown modules: only the general reasons have texts.
        return module, None, _text(lib.vq_ErrorGetString(value))
    submodule = _text(getattr(lib, f"{family}_ErrorGetSubModuleName")(value))
    message = _text(getattr(lib, f"{family}_ErrorGetString")(value))
    return module, submodule, message


class SpeechCommonError(Exception):
    """A failing result code of the library.

    ``code`` is the 32-bit code, ``name`` its public name (None for a code no family names),
    ``module`` and ``submodule`` the names the library gives them, ``message`` the owning
    family's text, and ``operation`` what was being done.
    """

    code: int
    name: Optional[str]
    module: str
    submodule: Optional[str]
    message: Optional[str]
    operation: str

    def __init__(self, code: int, operation: str = "", detail: str = "") -> None:
        self.code = code & 0xFFFFFFFF
        self.name = code_name(self.code)
        self.module, self.submodule, self.message = describe(self.code)
        self.operation = operation
        self.detail = detail
        super().__init__(str(self))

    def __str__(self) -> str:
        head = f"{self.operation}: " if self.operation else ""
        named = f"{self.name} 0x{self.code:08X}" if self.name else f"0x{self.code:08X}"
        text = f": {self.message.strip()}" if self.message and self.message.strip() else ""
        where = f" ({self.detail})" if self.detail else ""
        return f"{head}{named}{text}{where}"

    def __reduce__(self):  # exceptions cross process boundaries (multiprocessing) by value
        return (type(self), (self.code, self.operation, self.detail))


def failed(value: int) -> bool:
    return (value & 0xFFFFFFFF) >= 0x80000000


def check(value: int, operation: str, detail: str = "") -> int:
    """Raises SpeechCommonError for a failing code; gives back the code otherwise."""
    if failed(value):
        raise SpeechCommonError(value, operation, detail)
    return value


class _Codes:
    """The result codes by public name: ``codes.EDCT_E_NOT_FOUND``."""

    def __getattr__(self, name: str) -> int:
        try:
            return _codetable.NAMES[name]
        except KeyError:
            raise AttributeError(name) from None

    def __dir__(self) -> list[str]:
        return sorted(_codetable.NAMES)

    def __contains__(self, name: object) -> bool:
        return name in _codetable.NAMES


codes = _Codes()

# Shown (in tracebacks too) under the name users import it by.
SpeechCommonError.__module__ = "speechcommon"
