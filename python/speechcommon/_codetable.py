"""The public names of the result codes, read from the families' code tables.

The tables (`<family>_codes.def` in the library's source folders) are the one place where a code's
value and name are written. A built package carries the names the build read from them
(`_generated.py`, written by setup.py, with the version); a package used straight from a source
checkout reads the tables, and the version from CMakeLists.txt, itself.
"""

from __future__ import annotations

import re
from pathlib import Path
from typing import Iterable

_ROW = re.compile(r"^SC_CODE(?:_GENERAL|_UNLISTED)?\((0x[0-9A-Fa-f]+)u?, ([A-Z0-9_]+)")


def table_files(source_root: Path) -> list[Path]:
    """Every family's code table below the source root (the general reasons have no names)."""
    return sorted(
        path
        for path in source_root.glob("*/*_codes.def")
        if path.name != "general_codes.def"
    )


def read_tables(files: Iterable[Path]) -> dict[str, int]:
    names: dict[str, int] = {}
    for path in files:
        for line in path.read_text(encoding="utf-8").splitlines():
            match = _ROW.match(line)
            if match:
                names[match.group(2)] = int(match.group(1), 16)
    return names


# A source checkout: python/speechcommon/ is two levels below the tables' root.
_SOURCE = Path(__file__).resolve().parents[2]


def _load() -> tuple[dict[str, int], str]:
    try:
        from ._generated import NAMES, VERSION  # type: ignore[import-not-found]

        return dict(NAMES), VERSION
    except ImportError:
        pass
    version = "unknown"
    try:
        text = (_SOURCE / "CMakeLists.txt").read_text(encoding="utf-8")
        found = re.search(r"project\(speechcommon VERSION ([0-9.]+)", text)
        version = found.group(1) if found else version
    except OSError:
        pass
    return read_tables(table_files(_SOURCE)), version


NAMES, VERSION = _load()
BY_VALUE: dict[int, str] = {value: name for name, value in NAMES.items()}
