#!/usr/bin/env bash
# Runs the Python session of README.md ("## Python", its pycon blocks) as printed: each line
# after >>> or ... is run from the source root, and what it prints must be what the README
# shows. Usage: scripts/readme_python.sh [LIBRARY] (default: $SPEECHCOMMON_LIBRARY, else the
# build/ tree's library).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
export SPEECHCOMMON_LIBRARY=${1:-${SPEECHCOMMON_LIBRARY:-$root/build/libspeechcommon.so}}
export PYTHONPATH=$root/python PYTHONDONTWRITEBYTECODE=1
python=${SC_PYTHON3:-/usr/bin/python3}
[ -x "$python" ] || python=python3
cd "$root"
"$python" - <<'PYTHON'
import doctest
import re
import sys

text = open("README.md", encoding="utf-8").read()
section = re.search(r"^## Python\n(.*?)(?=^## )", text, re.M | re.S)
if not section:
    sys.exit("README.md has no '## Python' section")
blocks = re.findall(r"^```pycon\n(.*?)^```", section.group(1), re.M | re.S)
if not blocks:
    sys.exit("the Python section of README.md has no pycon block")
session = doctest.DocTestParser().get_doctest("".join(blocks), {}, "README.md (Python)", "README.md", 0)
runner = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS)
runner.run(session)
result = runner.summarize(verbose=False)
print(f"README.md: {result.attempted} examples of the Python session ran as printed"
      if not result.failed else "", end="\n" if not result.failed else "")
sys.exit(1 if result.failed or not result.attempted else 0)
PYTHON
