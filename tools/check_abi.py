#!/usr/bin/env python3
"""Compares the binary interface of the shared library with the one that is kept in the tree.

usage: tools/check_abi.py [--update] LIBRARY HEADERS KEPT

LIBRARY was built with -g, HEADERS is the folder of the installed headers: what no public header declares is left out.
KEPT is libabigail's description. Any difference is an error, an addition too: an interface changes on purpose, and
--update says that it was, by writing KEPT anew.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

# Nothing of it depends on the machine, the folder of the build, or the optimiser.
DUMP = ["abidw", "--exported-interfaces-only", "--drop-private-types", "--drop-undefined-syms", "--no-corpus-path",
        "--no-comp-dir-path", "--no-show-locs", "--no-parameter-names", "--no-elf-needed", "--type-id-style", "hash"]
# The two low bits of abidiff's exit status say that it failed itself.
FAILED = 3

CHANGED = """{kept}: the library's binary interface is another one now; see above.
If that is meant: write it into CHANGELOG.md, and run ./dev abi --update. Where something was removed or changed,
programs that were built before do not run with the library: once it is released, that takes a higher minor version."""


def describe(library, headers):
    """What abidw says of the library's public interface."""
    described = subprocess.run([*DUMP, "--headers-dir", headers, library], capture_output=True, text=True)
    if described.returncode != 0 or "<function-decl" not in described.stdout:
        sys.exit(f"{library}: abidw finds no description; was it built with -g?\n{described.stderr}")
    # A source's path is seen from the folder of the build.
    return re.sub(r" path='(?:\.\./)*", " path='", described.stdout)


def compare(kept, now):
    """\\return (abidiff's report, is there a difference)"""
    # What it takes for harmless, such as a further enumerator, is a change all the same.
    compared = subprocess.run(["abidiff", "--harmless", "--no-show-locs", kept, now], capture_output=True, text=True)
    if compared.returncode & FAILED:
        sys.exit(f"{kept}: abidiff fails\n{compared.stdout}{compared.stderr}")
    return compared.stdout, compared.returncode != 0


def main(arguments):
    update = arguments[:1] == ["--update"]
    if len(arguments) != 3 + update:
        sys.exit(__doc__)
    library, headers, kept = arguments[update:]
    if not update and not Path(kept).exists():
        sys.exit(f"{kept}: there is none for this machine; ./dev abi --update writes it")
    text = describe(library, headers)
    if update:
        Path(kept).write_text(text, encoding="utf-8")
        return 0
    with tempfile.NamedTemporaryFile("w", suffix=".abi", encoding="utf-8") as now:
        now.write(text)
        now.flush()
        report, differs = compare(kept, now.name)
    if not differs:
        print(f"check_abi: {len(re.findall('<elf-symbol ', text))} names, as {kept} has them")
        return 0
    print(report, end="")
    print(CHANGED.format(kept=kept))
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
