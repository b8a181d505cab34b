#!/usr/bin/env python3
"""Writes the list of symbols that the macOS library exports: what of the objects cmake/tillvane.map names.

usage: tools/mac/exports.py --nm NM --cxxfilt CXXFILT --output FILE MAP OBJECT...

One list of names serves both systems: on Linux the linker reads the map itself.
"""

import argparse
import fnmatch
import re
import subprocess
import sys

# A symbol that other files may see, and where it is defined; one that is hidden is a "private external".
DEFINED = re.compile(r"^[0-9a-f]+ \([^)]*\) (?:weak )?external (?:automatically hidden )?(?:\[[^\]]*\] )*(_\S+)$")


def read_map(text):
    """\\return (patterns of plain names, patterns of C++ names)"""
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    exported = re.search(r"global:(.*)local:", text, re.S)
    if not exported:
        raise ValueError("the map has no part `global:`")
    cxx = re.search(r'extern "C\+\+"\s*\{(.*?)\};', exported.group(1), re.S)
    plain = exported.group(1).replace(cxx.group(0), " ") if cxx else exported.group(1)
    words = [[word.strip() for word in part.split(";") if word.strip()] for part in (plain, cxx.group(1) if cxx else "")]
    return words[0], words[1]


def defined_symbols(listing):
    """The symbols that `nm -m` lists as defined and visible."""
    return {match.group(1) for match in map(DEFINED.match, listing.splitlines()) if match}


def matches(name, patterns):
    return any(fnmatch.fnmatchcase(name, pattern) for pattern in patterns)


def chosen(symbols, demangle, plain, cxx):
    """Those of the symbols that the patterns name, sorted."""
    mangled = sorted(symbol for symbol in symbols if symbol.startswith("__Z"))
    names = dict(zip(mangled, demangle(mangled)))
    return sorted(symbol for symbol in symbols
                  if (matches(names[symbol], cxx) if symbol in names else matches(symbol[1:], plain)))


def main(arguments):
    parser = argparse.ArgumentParser()
    for option in ("--nm", "--cxxfilt", "--output"):
        parser.add_argument(option, required=True)
    parser.add_argument("map")
    parser.add_argument("objects", nargs="+")
    options = parser.parse_args(arguments)

    def demangle(symbols):
        text = "".join(symbol[1:] + "\n" for symbol in symbols)
        answer = subprocess.run([options.cxxfilt, "-n"], input=text, capture_output=True, text=True, check=True)
        return answer.stdout.splitlines()

    with open(options.map, encoding="utf-8") as file:
        plain, cxx = read_map(file.read())
    listing = subprocess.run([options.nm, "-m", *options.objects], capture_output=True, text=True, check=True).stdout
    symbols = chosen(defined_symbols(listing), demangle, plain, cxx)
    if not symbols:
        sys.exit("exports.py: the objects define nothing that the map names")
    with open(options.output, "w", encoding="utf-8") as file:
        file.writelines(symbol + "\n" for symbol in symbols)


if __name__ == "__main__":
    main(sys.argv[1:])
