#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Finds every option that docs/camsim.md and the README name in the program; compares the keys of the JSON lines, and
# the README with the demo's output.
# usage: camsim_doc_test.py SOURCE_DIRECTORY CAMSIM...   (an emulator, if any, precedes the program)
import json
import pathlib
import re

from programs import Program, arguments, check, finish, same

source, camsim = pathlib.Path(arguments[0]), Program(*arguments[1:])
page = (source / "docs/camsim.md").read_text()


def names(section, column, pattern):
    """Returns the names in backquotes in one column, or all, of a section's tables."""
    rows = re.findall(r"^\|.*", re.search(rf"^## {section}\n(.*?)(?=^## |\Z)", page, re.M | re.S)[1], re.M)
    cells = [row if column is None else row.split("|")[column] for row in rows]
    return sorted({name for cell in cells for name in re.findall(pattern, cell)})


usage = camsim.run(0, "--help").out
options = {name for line in re.findall(r"^  (?:-h,)?--.*", usage, re.M) for name in re.findall(r"--[a-z-]+", line)}
readme = (source / "README.md").read_text()
for option in sorted(set(re.findall(r"(?<![\w-])--[a-z][a-z-]+", page + readme))):
    check(option in options, f"camsim has no option {option}")

lines = camsim.run(0, "--requests 1 --size 64x64 --realtime --annotated none --jsonl -").out.splitlines()
keys = {key for line in lines for key in json.loads(line)}
same("keys of the JSON lines on the page", sorted(keys), names("Recordings", 1, "`([a-z_]+)[^`]*`"))

shown = re.search(r"^[^\n]*slot 0.*?(?=^annotated)", readme, re.M | re.S)[0].splitlines()
printed = camsim.run(0, "--annotated none").out.splitlines()
check(len(shown) >= 6, "the README shows no demo")
for line in shown:
    check(line == "..." or line in printed, f"the demo does not print: {line}")

finish("docs/camsim.md and camsim agree")
