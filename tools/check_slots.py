#!/usr/bin/env python3
"""Compares the order of virtual functions with the one that is part of the binary interface.

usage: tools/check_slots.py LIST COMPILER ARGUMENT...

LIST names each class and its functions (tests/mac/slots.txt). The compiler, clang's, is given what it needs to say how
it lays out the tables of a source that uses the classes. Every finding is one line; the exit status is 1 when there is
one.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

SECOND_TABLE = "--"


def read_list(text):
    """{class: [functions]}"""
    text = re.sub(r"^#.*\n", "", text, flags=re.M)
    tables = {}
    for block in re.split(r"\n\s*\n", text.strip()):
        name, *functions = block.splitlines()
        if name in tables or not functions:
            raise ValueError(f"{name} stands there twice, or without functions")
        tables[name] = functions
    return tables


def read_dump(text):
    """What -fdump-vtable-layouts says: {class: [functions]}"""
    tables = {}
    for name, body in re.findall(r"^Vtable for '([^']+)' \(\d+ entries\)\.\n(.*?)\n\n", text, re.M | re.S):
        functions = []
        for entry in re.findall(r"^ *\d+ \| (.*)$", body, re.M):
            if entry.startswith("offset_to_top"):
                functions.append(SECOND_TABLE)
            elif not entry.endswith(" RTTI"):
                functions.append(entry)
        tables[name] = functions[1:]
    return tables


def check(expected, found):
    for name, functions in expected.items():
        if name not in found:
            yield f"{name}: the compiler says nothing of it"
            continue
        for place in range(max(len(functions), len(found[name]))):
            wanted = functions[place] if place < len(functions) else "nothing"
            made = found[name][place] if place < len(found[name]) else "nothing"
            if wanted != made:
                yield f"{name}: place {place} has {made}, not {wanted}"
    for name in sorted(set(found) - set(expected)):
        if re.match(r"L[A-Z]", name):
            yield f"{name}: is not listed"


def main(arguments):
    if len(arguments) < 2:
        sys.exit(__doc__)
    with tempfile.TemporaryDirectory() as folder:
        command = [*arguments[1:], "-Xclang", "-fdump-vtable-layouts", "-c", "-o", f"{folder}/slots.o"]
        # A compiler that has made the file before would give what it kept, and say nothing.
        environment = {**os.environ, "TILLVANE_MAC_CACHE": folder}
        compiled = subprocess.run(command, env=environment, capture_output=True, text=True)
    if compiled.returncode != 0:
        sys.exit(compiled.stderr)
    expected = read_list(Path(arguments[0]).read_text(encoding="utf-8"))
    findings = list(check(expected, read_dump(compiled.stdout + compiled.stderr)))
    for finding in findings:
        print(f"{arguments[0]}: {finding}")
    print(f"check_slots: {len(expected)} classes, {sum(map(len, expected.values()))} places")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
