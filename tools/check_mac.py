#!/usr/bin/env python3
"""Holds the library that was built for macOS to what hosts and the system expect of it.

usage: tools/check_mac.py LIBRARY STUBS MISSING EXPORTED

LIBRARY is the universal file, STUBS the folder of the declared frameworks (tests/mac/sdk), MISSING the list of
functions that the macOS side does not have yet (tests/mac/missing.txt), EXPORTED the list of what the library exports
on Linux (tests/consumer/exports.txt). Every finding is one line; the exit status is 1 when there is one.
"""

import re
import subprocess
import sys
from pathlib import Path

ARCHITECTURES = {"x86_64", "arm64"}
INSTALL_NAME = "@loader_path/tillvane.dylib"
MINIMUM = "11.0"
PLAIN_FUNCTIONS = {"TillvaneInit", "TillvaneDestroy", "TillvaneGetPrice", "TillvanePurchaseApplication",
                   "TillvaneIsAbleToMakePayments"}

FRAMEWORKS = "/System/Library/Frameworks/"
# What may be loaded: its name, and how.
LIBRARIES = {
    FRAMEWORKS + "AppKit.framework/Versions/C/AppKit": "LC_LOAD_DYLIB",
    FRAMEWORKS + "ApplicationServices.framework/Versions/A/ApplicationServices": "LC_LOAD_DYLIB",
    FRAMEWORKS + "Carbon.framework/Versions/A/Carbon": "LC_LOAD_DYLIB",
    FRAMEWORKS + "CoreFoundation.framework/Versions/A/CoreFoundation": "LC_LOAD_DYLIB",
    FRAMEWORKS + "CoreServices.framework/Versions/A/CoreServices": "LC_LOAD_DYLIB",
    FRAMEWORKS + "Foundation.framework/Versions/C/Foundation": "LC_LOAD_DYLIB",
    FRAMEWORKS + "Security.framework/Versions/A/Security": "LC_LOAD_DYLIB",
    FRAMEWORKS + "StoreKit.framework/Versions/A/StoreKit": "LC_LOAD_WEAK_DYLIB",
    "/usr/lib/libSystem.B.dylib": "LC_LOAD_DYLIB",
    "/usr/lib/libiconv.2.dylib": "LC_LOAD_DYLIB",
    "/usr/lib/libobjc.A.dylib": "LC_LOAD_DYLIB",
}

# The compiler's own text of the C library, which is not among the stubs.
WHOLE_LIBRARIES = {"libSystem"}


def check_architectures(text):
    """`llvm-lipo -archs`"""
    found = set(text.split())
    if found != ARCHITECTURES:
        yield f"is built for {' '.join(sorted(found)) or 'nothing'}, not for {' '.join(sorted(ARCHITECTURES))}"


def load_commands(text):
    """`llvm-otool -l`: [(command, {field: value})]"""
    commands = []
    for block in re.split(r"^Load command \d+$", text, flags=re.M)[1:]:
        fields = dict(re.findall(r"^\s*(\w+) (.+?)(?: \(offset \d+\))?$", block, re.M))
        commands.append((fields.get("cmd", ""), fields))
    return commands


def check_loading(text):
    """What the library is called, what it needs, and which systems it serves: `llvm-otool -l`."""
    commands = load_commands(text)
    names = [fields["name"] for command, fields in commands if command == "LC_ID_DYLIB"]
    if names != [INSTALL_NAME]:
        yield f"calls itself {', '.join(names) or 'nothing'}, not {INSTALL_NAME}"
    loaded = [(fields["name"], command) for command, fields in commands
              if re.fullmatch(r"LC_\w+_DYLIB", command) and command != "LC_ID_DYLIB"]
    for name, command in loaded:
        if name not in LIBRARIES:
            yield f"loads {name}, which is not on the list of tools/check_mac.py"
        elif LIBRARIES[name] != command:
            yield f"loads {name} by {command}, not by {LIBRARIES[name]}"
    for name in sorted(set(LIBRARIES) - {name for name, _ in loaded}):
        yield f"does not load {name}"
    minimum = [fields.get("minos") for command, fields in commands if command == "LC_BUILD_VERSION"]
    if minimum != [MINIMUM]:
        yield f"serves systems from {minimum}, not from {MINIMUM}"


UNDEFINED = re.compile(
    r"^\s+\(undefined\) (?:weak )?external (?:\[[^\]]*\] )*(\S+) \((?:from (\S+)|dynamically looked up)\)$")


def undefined_symbols(text):
    """`llvm-nm -m -u`: {symbol: the library that has it, or nothing}"""
    found = {}
    for line in text.splitlines():
        match = UNDEFINED.match(line)
        if match:
            found[match.group(1)] = match.group(2)
        elif "(undefined)" in line:
            raise ValueError(f"unknown line of nm: {line}")
    return found


def seam_name(symbol):
    """A function of namespace platform by its name, else nothing."""
    match = re.match(r"__ZN8platform(\d+)(\w+)", symbol)
    return "platform::" + match.group(2)[:int(match.group(1))] if match else None


def check_symbols(undefined, stubs, missing):
    """Every symbol from elsewhere is declared, or named as missing."""
    for symbol, library in sorted(undefined.items()):
        if library is None:
            if seam_name(symbol) not in missing:
                yield f"needs {symbol}, which nothing defines"
        elif library not in WHOLE_LIBRARIES and symbol not in stubs.get(library, ()):
            yield f"needs {symbol} of {library}, whose stub does not list it"


def check_stubs(used, stubs):
    """A stub lists what is called, each symbol once and in order, and nothing else."""
    for library, symbols in sorted(stubs.items()):
        if symbols != sorted(set(symbols)):
            yield f"{library}.tbd: its symbols are not sorted, or one stands there twice"
        for symbol in sorted(set(symbols) - used.get(library, set())):
            yield f"{library}.tbd: lists {symbol}, which nothing calls; take it out"


def read_stub(text):
    """The symbols of one stub."""
    listed = re.search(r"^    symbols:\n((?:      - \S+\n)*)\.\.\.\n\Z", text, re.M)
    if not listed:
        raise ValueError("a stub has its symbols last, one a line")
    return [line.split()[1] for line in listed.group(1).splitlines()]


def exported_symbols(text):
    """`llvm-objdump --exports-trie`, without the underscore that C puts first"""
    return set(re.findall(r"^0x[0-9A-Fa-f]+\s+_(\S+)(?: \[.*)?$", text, re.M))


# How macOS calls what the names of Linux call so.
NAMES = {
    "siginfo_t": "__siginfo",
    "LPlatformProcessSerialNumber*": "ProcessSerialNumber*",
    "platform::DescriptorWatch*, unsigned long, void const*,": "__CFSocket*, unsigned long, __CFData const*,",
    "platform::EventHandlerCall*": "OpaqueEventHandlerCallRef*",
    "platform::Event*": "OpaqueEventRef*",
    "platform::NativeString const*": "NSString*",
    "LPlatformStringArray*": "NSMutableArray*",
    "LPlatformURL*": "NSURL*",
    "std::__cxx11::": "std::",
    "std::": "std::__1::",
}

# A class that macOS has itself, by another name.
THE_SYSTEMS_OWN = "LPlatformStringArray::"

# What differs on one architecture: how an argument list travels; a type's information that every file which needs it
# brings, and that only counts in its own library.
ARCHITECTURE_NAMES = {"arm64": {"__va_list_tag*": "char*"}, "x86_64": {}}
NOT_EXPORTED = {
    "arm64": {"typeinfo for LProcessEventsHandler", "typeinfo name for LProcessEventsHandler"},
    "x86_64": set(),
}


def expected_names(linux, architecture):
    """The names that are exported, of those that Linux exports."""
    expected = set()
    for name in linux:
        if name.startswith(THE_SYSTEMS_OWN):
            continue
        for one, other in (NAMES | ARCHITECTURE_NAMES[architecture]).items():
            name = name.replace(one, other)
        expected.add(name)
    return expected - NOT_EXPORTED[architecture]


def check_exports(exported, expected):
    """\\param exported,expected names as C++ has them"""
    for name in sorted(exported - expected):
        yield f"exports {name}, which is not on the list"
    for name in sorted(expected - exported):
        yield f"does not export {name}"


def check_plain_functions(symbols):
    """Those that hosts look up by a name without C++'s additions."""
    for name in sorted(PLAIN_FUNCTIONS - symbols):
        yield f"does not export the plain function {name}"


def run(tool, *arguments):
    return subprocess.run([tool, *arguments], capture_output=True, text=True, check=True).stdout


def llvm(name):
    beside = Path("/usr/lib/llvm-14/bin") / name
    return str(beside) if beside.exists() else name


def demangled(symbols):
    text = "".join(symbol + "\n" for symbol in sorted(symbols))
    answer = subprocess.run([llvm("llvm-cxxfilt"), "-n"], input=text, capture_output=True, text=True, check=True)
    return set(answer.stdout.splitlines())


def check_architecture(library, architecture, stubs, missing, linux, used):
    """One architecture's part of the file; notes in `used` what it calls."""
    thin = f"{library}.{architecture}"
    run(llvm("llvm-lipo"), library, "-thin", architecture, "-output", thin)
    undefined = undefined_symbols(run(llvm("llvm-nm"), "-m", "-u", thin))
    for symbol, owner in undefined.items():
        used.setdefault(owner, set()).add(symbol)
    symbols = exported_symbols(run(llvm("llvm-objdump"), "--macho", "--exports-trie", thin))
    yield from check_loading(run(llvm("llvm-otool"), "-l", thin))
    yield from check_symbols(undefined, stubs, missing)
    yield from check_plain_functions(symbols)
    yield from check_exports(demangled(symbols), expected_names(linux, architecture))
    Path(thin).unlink()
    print(f"check_mac: {architecture}: {len(undefined)} symbols from elsewhere, {len(symbols)} exported, "
          f"{len(missing)} functions missing")


def check(library, stub_folder, missing_list, export_list):
    findings = list(check_architectures(run(llvm("llvm-lipo"), "-archs", library)))
    if findings:
        return findings
    stubs = {path.stem: read_stub(path.read_text()) for path in sorted(Path(stub_folder).rglob("*.tbd"))}
    missing = set(Path(missing_list).read_text().split())
    linux = Path(export_list).read_text().splitlines()
    used = {}
    for architecture in sorted(ARCHITECTURES):
        findings += [f"{architecture}: {finding}" for finding in
                     check_architecture(library, architecture, stubs, missing, linux, used)]
    return findings + list(check_stubs(used, stubs))


def main(arguments):
    if len(arguments) != 4:
        sys.exit(__doc__)
    findings = check(*arguments)
    for finding in findings:
        print(f"{arguments[0]}: {finding}")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
