#!/usr/bin/env python3
"""Gives check_mac.py what it must find, and what it must not; and exports.py what it must choose."""

import sys
import unittest
from pathlib import Path

import check_mac

sys.path.insert(0, str(Path(__file__).resolve().parent / "mac"))
import exports  # noqa: E402  (it lies beside what it is used by)


def load_command(number, command, **fields):
    lines = "".join(f"  {name} {value}\n" for name, value in fields.items())
    return f"Load command {number}\n          cmd {command}\n      cmdsize 48\n{lines}"


def loading(name=check_mac.INSTALL_NAME, minimum=check_mac.MINIMUM, libraries=None):
    """What otool prints of a library."""
    libraries = check_mac.LIBRARIES if libraries is None else libraries
    commands = [("LC_SEGMENT_64", {"segname": "__TEXT"}), ("LC_ID_DYLIB", {"name": f"{name} (offset 24)"}),
                ("LC_BUILD_VERSION", {"platform": "macos", "sdk": "11.0", "minos": minimum})]
    commands += [(command, {"name": f"{library} (offset 24)"}) for library, command in libraries.items()]
    return "tillvane.dylib:\n" + "".join(
        load_command(number, command, **fields) for number, (command, fields) in enumerate(commands))


STUB = """--- !tapi-tbd
tbd-version: 4
exports:
  - targets: [ x86_64-macos, arm64-macos ]
    symbols:
      - _CFRelease
      - _CFRetain
...
"""

UNDEFINED = """
                 (undefined) external _CFRelease (from CoreFoundation)
                 (undefined) weak external __Znwm (from libSystem)
                 (undefined) external _read (from libSystem)
                 (undefined) external __ZN8platform11CountEventsEv (dynamically looked up)
"""

TRIE = """
build/mac/tillvane.dylib:

Exports trie:
0x00013530  _TillvaneInit
0x00088E50  __ZN7LThread5StartEi
0x00088E60  __ZTV7LThread [weak_def]
"""


class Checks(unittest.TestCase):
    def found(self, findings, *texts):
        """Exactly so many findings, each with its text."""
        findings = list(findings)
        self.assertEqual(len(findings), len(texts), findings)
        for finding, text in zip(findings, texts):
            self.assertIn(text, finding)

    def test_architectures(self):
        self.found(check_mac.check_architectures("x86_64 arm64 \n"))
        self.found(check_mac.check_architectures("arm64\n"), "is built for arm64")
        self.found(check_mac.check_architectures("x86_64 arm64 i386"), "arm64 i386 x86_64")
        self.found(check_mac.check_architectures(""), "nothing")

    def test_what_is_loaded_and_how(self):
        self.found(check_mac.check_loading(loading()))
        self.found(check_mac.check_loading(loading(name="tillvane.dylib")), "calls itself tillvane.dylib")
        self.found(check_mac.check_loading(loading(minimum="10.9")), "10.9")
        libraries = check_mac.LIBRARIES
        self.found(check_mac.check_loading(loading(libraries=libraries | {"/usr/lib/libc++.1.dylib": "LC_LOAD_DYLIB"})),
                   "loads /usr/lib/libc++.1.dylib")
        store = next(name for name in libraries if name.endswith("/StoreKit"))
        self.found(check_mac.check_loading(loading(libraries=libraries | {store: "LC_LOAD_DYLIB"})),
                   "StoreKit by LC_LOAD_DYLIB, not by LC_LOAD_WEAK_DYLIB")
        without = {name: command for name, command in libraries.items() if name != store}
        self.found(check_mac.check_loading(loading(libraries=without)), "does not load")
        self.found(check_mac.check_loading("Load command 0\n  cmd LC_UUID\n"), "calls itself nothing",
                   *["does not load"] * len(libraries), "serves systems from []")

    def test_symbols_from_elsewhere(self):
        undefined = check_mac.undefined_symbols(UNDEFINED)
        self.assertEqual(undefined, {"_CFRelease": "CoreFoundation", "__Znwm": "libSystem", "_read": "libSystem",
                                     "__ZN8platform11CountEventsEv": None})
        stubs = {"CoreFoundation": check_mac.read_stub(STUB)}
        missing = {"platform::CountEvents"}
        self.found(check_mac.check_symbols(undefined, stubs, missing))
        self.found(check_mac.check_symbols(undefined, stubs, set()), "CountEvents")
        self.found(check_mac.check_symbols({"_open2": None}, stubs, missing), "_open2, which nothing defines")
        self.found(check_mac.check_symbols({"_CFFoo": "CoreFoundation"}, stubs, missing), "_CFFoo of CoreFoundation")
        self.found(check_mac.check_symbols({"_NSFoo": "AppKit"}, stubs, missing), "_NSFoo of AppKit")
        with self.assertRaises(ValueError):
            check_mac.undefined_symbols("   (undefined) something new\n")

    def test_stubs(self):
        self.assertEqual(check_mac.read_stub(STUB), ["_CFRelease", "_CFRetain"])
        self.assertEqual(check_mac.read_stub("    symbols:\n...\n"), [])
        for text in (STUB.replace("...\n", ""), STUB.replace("      - _CFRetain", "      - _CFRetain, _CFGet"), ""):
            with self.assertRaises(ValueError):
                check_mac.read_stub(text)
        used = {"CoreFoundation": {"_CFRelease", "_CFRetain"}}
        self.found(check_mac.check_stubs(used, {"CoreFoundation": ["_CFRelease", "_CFRetain"]}))
        self.found(check_mac.check_stubs(used, {"CoreFoundation": ["_CFRetain", "_CFRelease"]}), "not sorted")
        self.found(check_mac.check_stubs(used, {"CoreFoundation": ["_CFRelease", "_CFRelease"]}), "twice")
        self.found(check_mac.check_stubs({}, {"CoreFoundation": ["_CFRelease"]}), "which nothing calls")

    def test_exports(self):
        self.assertEqual(check_mac.exported_symbols(TRIE), {"TillvaneInit", "_ZN7LThread5StartEi", "_ZTV7LThread"})
        names = {"LThread::Start(int)", "LFile::Is(platform::Event*, std::string)", "f(__va_list_tag*)"}
        self.assertEqual(check_mac.expected_names(names, "arm64"),
                         {"LThread::Start(int)", "LFile::Is(OpaqueEventRef*, std::__1::string)", "f(char*)"})
        self.assertIn("f(__va_list_tag*)", check_mac.expected_names(names, "x86_64"))
        texts = {"LPlatformStringArray::Count() const", "f(LPlatformStringArray*, std::__cxx11::basic_string<char>)"}
        self.assertEqual(check_mac.expected_names(texts, "arm64"), {"f(NSMutableArray*, std::__1::basic_string<char>)"})
        information = "typeinfo for LProcessEventsHandler"
        self.assertEqual(check_mac.expected_names({information}, "arm64"), set())
        self.assertEqual(check_mac.expected_names({information}, "x86_64"), {information})
        self.found(check_mac.check_exports({"a", "b"}, {"a", "b"}))
        self.found(check_mac.check_exports({"a", "b"}, {"a"}), "exports b")
        self.found(check_mac.check_exports({"a"}, {"a", "b"}), "does not export b")

    def test_plain_functions(self):
        self.found(check_mac.check_plain_functions(check_mac.PLAIN_FUNCTIONS | {"_ZN7LThread5StartEi"}))
        self.found(check_mac.check_plain_functions(check_mac.PLAIN_FUNCTIONS - {"TillvaneInit"}), "TillvaneInit")

    def test_the_five_plain_functions_are_meant(self):
        self.assertEqual(len(check_mac.PLAIN_FUNCTIONS), 5)


MAP = """TILLVANE_0 {
  global:
    Tillvane*;
    /* Variables; */
    gDebug*;
    extern "C++" {
      L*;
      vtable?for?L*;
    };
  local:
    *;
};
"""

LISTING = """
a.cpp.o:
0000000000000000 (__TEXT,__text) external __ZN7LThread5StartEi
0000000000000010 (__TEXT,__text) private external __ZN7LThread6HiddenEv
0000000000000020 (__TEXT,__text) weak external __ZN5OtherD1Ev
0000000000000030 (__TEXT,__text) non-external __ZL4Mine
0000000000000040 (__DATA,__data) external _gDebugThing
0000000000000050 (__TEXT,__text) external _TillvaneInit
0000000000000060 (__DATA,__const) weak external __ZTV7LThread
                 (undefined) external __ZN7LThread4StopEv
"""


class Exports(unittest.TestCase):
    NAMES = {"__ZN7LThread5StartEi": "LThread::Start(int)", "__ZN5OtherD1Ev": "Other::~Other()",
             "__ZTV7LThread": "vtable for LThread"}

    def test_reads_the_map(self):
        self.assertEqual(exports.read_map(MAP), (["Tillvane*", "gDebug*"], ["L*", "vtable?for?L*"]))
        with self.assertRaises(ValueError):
            exports.read_map("TILLVANE_0 { local: *; };")

    def test_chooses_what_the_map_names_and_other_files_see(self):
        symbols = exports.defined_symbols(LISTING)
        self.assertNotIn("__ZN7LThread6HiddenEv", symbols)
        self.assertNotIn("__ZL4Mine", symbols)
        self.assertNotIn("__ZN7LThread4StopEv", symbols)
        plain, cxx = exports.read_map(MAP)
        chosen = exports.chosen(symbols, lambda mangled: [self.NAMES[symbol] for symbol in mangled], plain, cxx)
        self.assertEqual(chosen, ["_TillvaneInit", "__ZN7LThread5StartEi", "__ZTV7LThread", "_gDebugThing"])


if __name__ == "__main__":
    unittest.main()
