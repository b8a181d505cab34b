#!/usr/bin/env python3
"""Holds the tree to its layers: the seam, the order of the folders, the lists of the build.

usage: tools/check_layers.py [ROOT]

Every finding is one line, `path:line: what, and the mend`; the exit status is 1 when there is one. What the rules are
stands in CONTRIBUTING.md; the tables below are the only place where an exception can be made.
"""

import os
import re
import sys
from collections import Counter
from pathlib import Path

from cpp_text import blank_comments_and_strings, declared_functions, defined_functions, shared_definitions

# A folder may include itself and the folders before it.
FOLDERS = ["text", "core", "system", "files", "net", "diag", "store"]

# Files that reach up, and why: (file, what it includes): reason. One that is not needed any more is a finding.
REACHES_UP = {
    ("tillvane/core/signal_object_named.cpp", "tillvane/files/LFile.h"):
        "a named signal's socket lies in the user's data folder",
    ("tillvane/core/signal_object_named_test.cpp", "tillvane/files/LFile.h"):
        "where a named signal's socket lies",
    ("tillvane/core/thread.cpp", "tillvane/diag/registered_thread.h"):
        "a thread of the toolkit is registered, and can report a crash, from its first moment to its last",
    ("tillvane/net/tcp_listener.cpp", "tillvane/diag/LDebugThread.h"):
        "a listener names its thread",
    ("tillvane/net/tcp_listener_test.cpp", "tillvane/diag/LDebugThread.h"):
        "what a listener's thread is called",
    ("tillvane/system/application_bundle.cpp", "tillvane/files/LFile.h"):
        "a folder's path is joined with a name as everywhere",
    ("tillvane/system/unix_app.cpp", "tillvane/diag/LDebugThread.h"):
        "a program's first thread is registered by the name that reports know",
    ("tillvane/text/text_file.cpp", "tillvane/core/LFileLock.h"):
        "whole text files are read and written under the timed lock",
    ("tillvane/text/text_file_save.cpp", "tillvane/files/LFile.h"):
        "a saved text is marked as UTF-8",
    ("tillvane/text/text_file_save_test.cpp", "tillvane/files/LFile.h"):
        "what a saver answers is what marking answers",
}

# What backends need of the portable folders: (file, what it includes): reason. The same holds.
BACKEND_NEEDS = {
    ("tillvane/platform/linux/store_service_linux.cpp", "tillvane/store/tillvane_manager.h"):
        "the local store is what a bridge of nobody's choosing listens to",
    ("tillvane/platform/mac/store_observer_mac.h", "tillvane/core/LProcessInterface.h"):
        "StoreKit tells Objective-C objects only: what listens for the bridge, and waits, is the backend's",
    ("tillvane/platform/mac/store_observer_mac.mm", "tillvane/store/store_rules.h"):
        "it listens by the rules of every listener",
    ("tillvane/platform/mac/store_request_delegate_mac.h", "tillvane/core/LProcessInterface.h"):
        "as the observer",
    ("tillvane/platform/mac/store_request_delegate_mac.mm", "tillvane/store/store_rules.h"):
        "as the observer",
    ("tillvane/platform/mac/tillvane_manager_mac.mm", "tillvane/store/store_rules.h"):
        "as the observer",
    ("tillvane/platform/mac/tillvane_manager_mac.mm", "tillvane/store/tillvane_manager.h"):
        "the manager of those objects releases them as their language does",
    ("tillvane/platform/posix/descriptor_posix.h", "tillvane/core/cancellation.h"):
        "a descriptor is closed where a thread must not be cancelled, as everywhere",
}

SYSTEMS = ["linux", "mac", "posix"]

# The macOS side grows: what it lacks is named here, and nowhere else.
MISSING_FOR_MAC = "tests/mac/missing.txt"

# What nothing asks of macOS, since only portable files that are not built for it do: function: reason.
NOT_FOR_MAC = {
    "FormatMoney":
        "the listeners to a store that speaks C++ write prices; StoreKit's have objects for them",
}

SYSTEM_MACRO = re.compile(
    r"\b(__APPLE__|__MACH__|TARGET_OS_\w+|__MAC_\w+|MAC_OS_X_\w+|__linux__|__linux|linux|__gnu_linux__|__ANDROID__|"
    r"_WIN32|_WIN64|__CYGWIN__|__MINGW\w+|__GNUSTEP__|GNUSTEP|__FreeBSD__|__NetBSD__|__OpenBSD__|__sun|__unix__|"
    r"__unix|__GLIBC__|__BIONIC__|__has_include)\b")

LINUX_HEADER = re.compile(
    r"(glib|gio|gobject|gmodule|gtk|gdk|unicode|nlohmann|polkit|systemd|plist|linux|asm)/"
    r"|glib(-\w+)?\.h|gmodule\.h|sqlite3(ext)?\.h|(lib)?udev\.h"
    r"|sys/(epoll|eventfd|inotify|signalfd|timerfd|prctl|sysinfo|vfs|statfs)\.h|mntent\.h")
MAC_HEADER = re.compile(
    r"(Carbon|CoreFoundation|CoreServices|ApplicationServices|Foundation|StoreKit|Security|AppKit|Cocoa|IOKit|objc|"
    r"mach|mach-o|libkern|dispatch)/|TargetConditionals\.h|Availability(Macros)?\.h|sys/sysctl\.h")

# GLib, ICU, SQLite, Cocoa and Core Foundation by the look of their names.
NATIVE_NAME = re.compile(
    r"\b(g(boolean|pointer|char|uchar|int|uint|long|ulong|size|ssize|double)(8|16|32|64)?|_?G[A-Z][a-z]\w*|"
    r"U(Char|ErrorCode|Bool|NumberFormat)\w*|sqlite3\w*|(NS|SK|CF)[A-Z]\w+)\b")

SOURCE_SUFFIXES = {".h", ".cpp", ".cc", ".c", ".m", ".mm"}
IMPLEMENTATION_SUFFIXES = SOURCE_SUFFIXES - {".h"}
NOT_OURS = {".git", ".cache", "build", "out", "node_modules"}


class Source:
    """One file: its code without comments and strings, its includes and its preprocessor conditions, by line."""

    def __init__(self, path, text):
        self.path = path
        self.code = blank_comments_and_strings(text)
        self.includes = []
        self.conditions = []
        for match in re.finditer(r"^[ \t]*#[ \t]*(?:include|include_next|import)[ \t]*[<\"]([^>\"\n]+)", self.code, re.M):
            self.includes.append((self.line_of(match.start(1)), match.group(1)))
        joined = re.sub(r"\\\n", "  ", self.code)
        for match in re.finditer(r"^[ \t]*#[ \t]*(?:if|ifdef|ifndef|elif|elifdef|elifndef)\b(.*)$", joined, re.M):
            self.conditions.append((self.line_of(match.start(1)), match.group(1)))

    def line_of(self, position):
        return self.code.count("\n", 0, position) + 1


def project_files(root):
    for folder, folders, names in os.walk(root):
        folders[:] = sorted(name for name in folders if name not in NOT_OURS)
        for name in sorted(names):
            yield Path(folder, name)


class Tree:
    """Every source of the project, what the build lists, and the findings."""

    def __init__(self, root):
        self.root = Path(root)
        self.findings = []
        self.sources = {}
        self.lists = {}
        for path in project_files(self.root):
            name = path.relative_to(self.root).as_posix()
            if path.suffix in SOURCE_SUFFIXES:
                self.sources[name] = Source(name, path.read_text(encoding="utf-8"))
            elif path.name == "CMakeLists.txt" or path.suffix == ".cmake":
                self.lists[name] = path.read_text(encoding="utf-8")

    def find(self, path, line, message):
        self.findings.append(f"{path}:{line}: {message}")

    def library(self):
        return [source for path, source in self.sources.items() if path.startswith("tillvane/")]

    def resolve(self, source, target):
        """The project's file that an include means, else nothing."""
        beside = (Path(source.path).parent / target).as_posix()
        for candidate in (target, beside, f"tests/{target}"):
            if candidate in self.sources:
                return candidate
        return None

    def edges(self, source):
        for line, target in source.includes:
            resolved = self.resolve(source, target)
            if resolved:
                yield line, resolved


def folder_of(path):
    """text … store for a portable file, a system's name for a backend, seam, or root for tillvane/*.h."""
    parts = path.split("/")[1:-1]
    if not parts:
        return "root"
    if parts[0] != "platform":
        return parts[0]
    return parts[1] if len(parts) > 1 else "seam"


def check_conditions(tree):
    """No #if of a system outside the backends but in native_types.h."""
    for source in tree.sources.values():
        inside = source.path.startswith("tillvane/") and folder_of(source.path) in SYSTEMS
        if inside or source.path == "tillvane/platform/native_types.h":
            continue
        for line, condition in source.conditions:
            macro = SYSTEM_MACRO.search(condition)
            if macro:
                tree.find(source.path, line, f"asks for the system ({macro.group(0)}); "
                          "move the difference behind a seam function in tillvane/platform/")


def check_native_includes(tree):
    """One system's headers only in that system's backend."""
    for source in tree.library():
        folder = folder_of(source.path)
        for line, target in source.includes:
            for system, header in (("linux", LINUX_HEADER), ("mac", MAC_HEADER)):
                if folder != system and header.match(target):
                    tree.find(source.path, line, f"includes <{target}>; only tillvane/platform/{system}/ may, "
                              "so put the call there, behind a seam function")


def check_platform_names(tree):
    """Folder and suffix both name the system; a seam is headers only."""
    for source in tree.library():
        folder = folder_of(source.path)
        stem = Path(source.path).stem
        if folder in SYSTEMS and not re.search(rf"_{folder}(_test)?$", stem):
            tree.find(source.path, 1, f"its name does not say its system; end it with _{folder} or _{folder}_test")
        if folder == "seam" and not source.path.endswith(".h"):
            tree.find(source.path, 1, "a seam is headers only; move it to a folder of tillvane/platform/")
        if source.path.startswith("tillvane/platform/") and folder not in SYSTEMS + ["seam"]:
            tree.find(source.path, 1, "no such system; the folders of tillvane/platform/ are " + ", ".join(SYSTEMS))


def check_seam_types(tree):
    """A seam header names no native type but those that native_types.h declares for every system."""
    shared = set()
    for source in tree.library():
        if Path(source.path).name == "native_types_linux.h":
            shared.update(re.findall(r"\b(?:using|struct|class)\s+(\w+)", source.code))
    for source in tree.library():
        if folder_of(source.path) != "seam":
            continue
        for match in NATIVE_NAME.finditer(source.code):
            if match.group(0) not in shared:
                tree.find(source.path, source.line_of(match.start()), f"names the native type {match.group(0)}; "
                          "declare an opaque type of namespace platform instead")


def missing_for_mac(root):
    """The seam functions that the macOS side does not have yet, by name."""
    path = root / MISSING_FOR_MAC
    return set(re.findall(r"^platform::([\w:~]+)$", path.read_text(encoding="utf-8"), re.M)) if path.exists() else set()


def check_definitions(tree):
    """Every seam function is defined once per system. The counts of declarations and definitions are returned."""
    declared, where = Counter(), {}
    for source in tree.library():
        if folder_of(source.path) == "seam":
            for position, key in declared_functions(source.code):
                declared[key] += 1
                where[key] = (source.path, source.line_of(position))
    defined = {system: Counter() for system in SYSTEMS}
    for source in tree.library():
        folder = folder_of(source.path)
        if folder in SYSTEMS and Path(source.path).suffix in IMPLEMENTATION_SUFFIXES:
            defined[folder].update(key for _, key in defined_functions(source.code) if key in declared)
    missing = missing_for_mac(tree.root)
    for name in sorted(set(NOT_FOR_MAC) - {key[0] for key in declared}):
        tree.find("tools/check_layers.py", 1, f"names {name}, which is no seam function; take the line out")
    has_mac = any(folder_of(source.path) == "mac" and Path(source.path).suffix in IMPLEMENTATION_SUFFIXES
                  for source in tree.library())
    for system in ["linux"] + ["mac"] * has_mac:
        count = defined[system] + defined["posix"]
        for key in sorted(declared):
            is_missing = system == "mac" and (key[0] in missing or key[0] in NOT_FOR_MAC)
            if is_missing and count[key] == declared[key]:
                names = MISSING_FOR_MAC if key[0] in missing else "tools/check_layers.py"
                tree.find(names, 1, f"names {key[0]}, which is defined for mac; take the line out")
            if not is_missing and count[key] != declared[key]:
                tree.find(*where[key], f"{key[0]} with {key[1]} parameters is defined {count[key]} times for {system}; "
                          f"define it once in tillvane/platform/{system}/ or posix/")
    return sum(declared.values()), sum(sum(counter.values()) for counter in defined.values())


def check_one_meaning(tree):
    """A name means the same in every file of one system's library: the linker takes two types, or two inline functions,
    of one name for the same one, and says nothing. The number of definitions is returned."""
    places = {}
    for source in tree.library():
        for position, name in shared_definitions(source.code):
            places.setdefault(name, []).append((source, position))
    for name, found in sorted(places.items()):
        for i, (source, position) in enumerate(found):
            for other, _ in found[:i]:
                if other.path != source.path and {folder_of(source.path), folder_of(other.path)} != {"linux", "mac"}:
                    tree.find(source.path, source.line_of(position), f"defines {name}, as {other.path} does; give one "
                              "of the two another name, or put it into an anonymous namespace")
                    break
    return sum(map(len, places.values()))


def check_circles(tree):
    """No circle of includes between files."""
    state = {}

    def visit(path, trail):
        state[path] = "open"
        for line, target in tree.edges(tree.sources[path]):
            if state.get(target) == "open":
                circle = " > ".join(trail[trail.index(target):] + [target])
                tree.find(path, line, f"closes a circle of includes ({circle}); move what both need to a file of its own")
            elif target not in state:
                visit(target, trail + [target])
        state[path] = "done"

    for path in tree.sources:
        if path not in state:
            visit(path, [path])


def may_include(folder, target_folder):
    """Whether a file of one folder of tillvane/ may include a file of another without an exception."""
    if folder in SYSTEMS:
        return target_folder in (folder, "posix", "seam")
    if folder == "seam":
        return target_folder == "seam"
    if folder == "root":
        return True
    if target_folder == "seam":
        return True
    return target_folder in FOLDERS and FOLDERS.index(target_folder) <= FOLDERS.index(folder)


def check_order(tree):
    """Folders build upward; the exceptions are used."""
    used = set()
    for source in tree.library():
        folder = folder_of(source.path)
        if folder not in FOLDERS + SYSTEMS + ["seam", "root"]:
            tree.find(source.path, 1, f"'{folder}' has no place in the order of folders; "
                      "put the file elsewhere, or give the folder its place in FOLDERS of tools/check_layers.py")
            continue
        for line, target in tree.edges(source):
            check_edge(tree, source, folder, line, target, used)
    for table in (REACHES_UP, BACKEND_NEEDS):
        for path, target in sorted(set(table) - used):
            tree.find(path, 1, f"no longer includes {target}; take the exception out of tools/check_layers.py")


def check_edge(tree, source, folder, line, target, used):
    if not target.startswith("tillvane/"):
        if not source.path.rsplit(".", 1)[0].endswith("_test"):
            tree.find(source.path, line, f"the library includes {target}; move what it needs into tillvane/")
        return
    if target == "tillvane/export.h":
        return
    # native_types.h chooses among the systems: that is its one job.
    if source.path == "tillvane/platform/native_types.h" and "native_types_" in target:
        return
    if may_include(folder, folder_of(target)):
        return
    # A backend is tested together with what stands on it.
    if folder in SYSTEMS and folder_of(target) in FOLDERS and Path(source.path).stem.endswith("_test"):
        return
    table = BACKEND_NEEDS if folder in SYSTEMS else REACHES_UP
    if (source.path, target) in table:
        used.add((source.path, target))
        return
    tree.find(source.path, line, f"includes {target}, which {explain(folder, folder_of(target))}")


def explain(folder, target_folder):
    if target_folder == "root":
        return "is for hosts; include the header that is meant"
    if folder == "seam":
        return "is no part of the seam; a seam header stands on other seam headers only"
    if folder in SYSTEMS and target_folder in SYSTEMS:
        return "is another system's; share it through tillvane/platform/posix/ or write it here"
    if folder in SYSTEMS:
        return "is above the seam; hand it in through the seam, or name it in BACKEND_NEEDS of tools/check_layers.py"
    if target_folder in SYSTEMS:
        return "is one system's own; call it through a seam header of tillvane/platform/"
    return f"is above {folder}/; move one of the two, or name it in REACHES_UP of tools/check_layers.py"


def read_lists(tree):
    """Every file of the library that the build names: [(list's variable, cmake file, line, path)]."""
    listed = []
    for name, text in tree.lists.items():
        text = re.sub(r"#[^\n]*", lambda match: " " * len(match.group(0)), text)
        for match in re.finditer(r"\bfile\s*\(\s*GLOB|\baux_source_directory\b", text, re.I):
            tree.find(name, text.count("\n", 0, match.start()) + 1, "collects files by a pattern; list them by name")
        for call in re.finditer(r"\b(?:set|list)\s*\(\s*(?:APPEND\s+)?(TILLVANE_\w+)([^)]*)\)", text):
            for word in re.finditer(r"tillvane/\S+", call.group(2)):
                line = text.count("\n", 0, call.start(2) + word.start()) + 1
                listed.append((call.group(1), name, line, word.group(0).strip('"')))
    return listed


def is_public(path):
    name = Path(path).name
    return name.endswith(".h") and (
        re.match(r"L[A-Z]|Tillvane[A-Z]|native_types", name) or path in ("tillvane/export.h", "tillvane/tillvane.h"))


def needs_googletest(tree, path, seen=None):
    seen = set() if seen is None else seen
    seen.add(path)
    source = tree.sources[path]
    return any(re.match("g(test|mock)/", target) for _, target in source.includes) or any(
        needs_googletest(tree, target, seen) for _, target in tree.edges(source) if target not in seen)


def lists_for(tree, path, has_mac):
    """Where a file has to be listed: {(variable, cmake file)}."""
    folder = folder_of(path)
    if path.endswith(".h"):
        kind = "PUBLIC_HEADERS" if is_public(path) else None
    else:
        is_test = Path(path).stem.endswith("_test") or needs_googletest(tree, path)
        kind = "TEST_SOURCES" if is_test else "SOURCES"
    if kind is None:
        return set()
    if folder not in SYSTEMS:
        return {("TILLVANE_" + kind, "cmake/sources.cmake")}
    systems = {"posix": ["linux"] + ["mac"] * has_mac}.get(folder, [folder])
    return {("TILLVANE_PLATFORM_" + kind, f"cmake/platform_{system}.cmake") for system in systems}


def check_lists(tree):
    """Every file of the library is listed once, in the right list. The number of entries is returned."""
    listed = read_lists(tree)
    has_mac = any(name == "cmake/platform_mac.cmake" and path.endswith((".mm", ".cpp")) for _, name, _, path in listed)
    found = Counter((path, variable, name) for variable, name, _, path in listed)
    for source in tree.library():
        for variable, name in sorted(lists_for(tree, source.path, has_mac)):
            if found[(source.path, variable, name)] == 0:
                tree.find(source.path, 1, f"is not built; list it in {variable} of {name}")
    for variable, name, line, path in listed:
        if path not in tree.sources:
            tree.find(name, line, f"lists {path}, which does not exist; take the line out")
        elif (variable, name) not in lists_for(tree, path, has_mac):
            tree.find(name, line, f"lists {path} in {variable}, where it does not belong; "
                      "take the line out, or name the file after what it is")
        elif found[(path, variable, name)] > 1:
            tree.find(name, line, f"lists {path} more than once; take the other lines out")
    return len(listed)


def check_tests_are_built(tree):
    """No test outside the library is left out of the build."""
    lists = re.sub(r"#.*", "", "\n".join(tree.lists.values()))
    for path in tree.sources:
        is_listed = re.search(r"[\s/(]" + re.escape(Path(path).name) + r"\b", lists)
        if path.endswith(("_test.cpp", "_test.mm")) and not path.startswith("tillvane/") and not is_listed:
            tree.find(path, 1, "is not built; give it a line in tests/CMakeLists.txt")


def check_public_headers(tree):
    """What is installed needs nothing that is not, and tillvane.h brings all of it."""
    public = [source for source in tree.library() if is_public(source.path)]
    for source in public:
        for line, target in tree.edges(source):
            if not is_public(target):
                tree.find(source.path, line, f"is installed and includes {target}, which is not; declare what it needs")
    umbrella = tree.sources.get("tillvane/tillvane.h")
    brought = {target for _, target in tree.edges(umbrella)} if umbrella else set()
    for source in public:
        if folder_of(source.path) in FOLDERS and source.path not in brought:
            tree.find(source.path, 1, "is a public header that tillvane/tillvane.h does not include; include it there")


def check(root):
    """\\return (findings, counts of what was read)"""
    tree = Tree(root)
    check_conditions(tree)
    check_native_includes(tree)
    check_platform_names(tree)
    check_seam_types(tree)
    declarations, definitions = check_definitions(tree)
    shared = check_one_meaning(tree)
    check_circles(tree)
    check_order(tree)
    entries = check_lists(tree)
    check_tests_are_built(tree)
    check_public_headers(tree)
    counts = {
        "files of the library": len(tree.library()),
        "other sources": len(tree.sources) - len(tree.library()),
        "includes between them": sum(len(list(tree.edges(source))) for source in tree.sources.values()),
        "seam functions": declarations,
        "their definitions": definitions,
        "types and inline functions": shared,
        "entries of the build's lists": entries,
    }
    return tree.findings, counts


def main(arguments):
    root = Path(arguments[0]) if arguments else Path(__file__).resolve().parent.parent
    findings, counts = check(root)
    for finding in findings:
        print(finding)
    print("check_layers: " + ", ".join(f"{count} {what}" for what, count in counts.items()))
    # A check that reads nothing finds nothing wrong.
    unread = [what for what, count in counts.items() if count == 0]
    if unread:
        print(f"check_layers: read no {', no '.join(unread)}; is {root} the project's folder?")
    return 1 if findings or unread else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
