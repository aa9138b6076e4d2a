"""The public names of the result codes, read from the families' code tables.

The tables (`<family>_codes.def` in the library's source folders) are the one place where a code's
value and name are written. A built package carries the names the build read from them
(`_codenames.py`, written by setup.py); a package used straight from a source checkout reads the
tables themselves.
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


def _load() -> dict[str, int]:
    try:
        from ._codenames import NAMES  # type: ignore[import-not-found]

        return dict(NAMES)
    except ImportError:
        pass
    # A source checkout: python/speechcommon/ is two levels below the tables' root.
    return read_tables(table_files(Path(__file__).resolve().parents[2]))


NAMES: dict[str, int] = _load()
BY_VALUE: dict[int, str] = {value: name for name, value in NAMES.items()}
