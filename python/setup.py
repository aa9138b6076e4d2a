"""The build step that pyproject.toml cannot say: the package carries the result-code names and
the version of the source tree it is built from (the code tables and CMakeLists.txt one level up),
written into speechcommon/_generated.py."""

import re
import sys
from pathlib import Path

from setuptools import setup
from setuptools.command.build_py import build_py

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE / "speechcommon"))
import _codetable  # noqa: E402  (the table reader, without importing the package)

SOURCE = HERE.parent


def version() -> str:
    text = (SOURCE / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(speechcommon VERSION ([0-9.]+)", text).group(1)


class BuildWithNames(build_py):
    def run(self) -> None:
        super().run()
        names = _codetable.read_tables(_codetable.table_files(SOURCE))
        if not names:
            raise SystemExit(f"no result-code tables below {SOURCE}: build from the source tree")
        lines = ['"""Written by setup.py from the code tables and CMakeLists.txt; do not edit."""',
                 f"VERSION = {version()!r}", "NAMES = {"]
        lines += [f"    {name!r}: 0x{value:08X}," for name, value in sorted(names.items())]
        lines.append("}")
        target = Path(self.build_lib) / "speechcommon" / "_generated.py"
        target.write_text("\n".join(lines) + "\n", encoding="utf-8")


setup(version=version(), cmdclass={"build_py": BuildWithNames})
