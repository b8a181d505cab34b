#!/usr/bin/env python3
"""Holds the library's signal handlers to what a signal handler may call.

usage: tools/check_signal_safety.py LIBRARY...

Disassembles each library with objdump, follows every call from the handlers on, and compares what leaves the library
with the tables below. Every finding is one line with the way to it; the exit status is 1 when there is one, and also
when a handler is not there to be followed. What a called library does inside is not looked at: that is what the reasons
in the tables are for.
"""

import re
import subprocess
import sys

# Where a signal handler begins: (what the symbol's name begins with): what it may call besides what all may.
HANDLERS = {
    "_Z19LDebugSignalHandler": set(),
    "_Z21LIntTermSignalHandler": {"exit"},
    "_ZN4diag12_GLOBAL__N_114OnReportIsLate": set(),
    # Nobody's handler here, but promised to the handlers of hosts.
    "_ZN7LThread14StopThreadSoonEv": set(),
}

# What leaves the library, and why it may.
ALLOWED = {
    "_exit": "POSIX: async-signal-safe",
    "alarm": "POSIX: async-signal-safe",
    "clock_gettime": "POSIX: async-signal-safe",
    "memcpy": "POSIX: async-signal-safe",
    "memset": "POSIX: async-signal-safe",
    "poll": "POSIX: async-signal-safe",
    "pthread_sigmask": "POSIX: async-signal-safe",
    "sigaction": "POSIX: async-signal-safe",
    "sigaddset": "POSIX: async-signal-safe",
    "sigemptyset": "POSIX: async-signal-safe",
    "sigfillset": "POSIX: async-signal-safe",
    "strlen": "POSIX: async-signal-safe",
    "write": "POSIX: async-signal-safe",
    "__errno_location": "an address in the thread's own block, which is there as long as the thread",
    "_Unwind_Resume": "only where an exception passes, and nothing of what may be called here throws",
    "_ZSt9terminatev": "the same",
    "__cxa_begin_catch": "the same",
    "__stack_chk_fail": "only where memory is damaged already; ends the process",
    "gettid": "one system call without a state",
    "pthread_setcancelstate": "POSIX: async-signal-safe since 2024, and before that it was a mark in the thread's block",
    "syscall": "one system call without a state: a write that is no cancellation point",
    "backtrace": "only where the host has asked for reports: by then it was called once and has loaded the unwinder, "
                 "which allocates nothing afterwards; where it faults or hangs the process ends",
    "exit": "what a host without a run loop is promised for SIGINT and SIGTERM: it runs what an exit runs, and whoever "
            "registers something there knows it",
}

# Calls through a pointer: (function, number of them): why each of them ends well. One that is not needed any more is a
# finding.
INDIRECT = {}

CALLS = re.compile(r"(callq?|jmpq?|j[a-z]{1,4}|bl|b|b\.[a-z]{2}|cbn?z|tbn?z)$")
INDIRECT_CALLS = re.compile(r"(callq?|jmpq?|blr|br)$")
FUNCTION = re.compile(r"^([0-9a-f]+) <(.+)>:$")
INSTRUCTION = re.compile(r"^\s*[0-9a-f]+:\s+(?:(?:notrack|bnd|lock|rep\w*) )*([\w.]+)\s*(.*)$")
TARGET = re.compile(r"<([^>]+)>")


def bare(name):
    """A symbol without its place in a function, its way through the linkage table and its version."""
    return re.sub(r"[+-]0x[0-9a-f]+$", "", re.sub(r"@.*$", "", re.sub(r"\*ABS\*\+0x[0-9a-f]+@plt$", "*ABS*", name)))


class Function:
    """What one function calls: other functions of the library, what leaves it, and what nobody can tell."""

    def __init__(self):
        self.inside = set()
        self.outside = set()
        self.indirect = []


def instruction(line):
    match = INSTRUCTION.match(line)
    return (match.group(1), match.group(2)) if match else (None, None)


def note_call(function, name, mnemonic, operands):
    """Sorts one instruction into the function's calls."""
    target = TARGET.search(operands)
    if CALLS.match(mnemonic) and target and "*" not in operands.split("<")[0]:
        called = target.group(1)
        if "@plt" in called:
            function.outside.add(bare(called))
        elif bare(called) != name:
            function.inside.add(bare(called))
    elif INDIRECT_CALLS.match(mnemonic) and (operands.startswith("*") or mnemonic in ("blr", "br")):
        # Past the linkage table, through the address that the loader fills in: objdump names it in a comment.
        if target and "(%rip)" in operands and "@" in target.group(1):
            function.outside.add(bare(target.group(1)))
        else:
            function.indirect.append(f"{mnemonic} {operands}".strip())


def read_functions(disassembly):
    """\\return {name: Function}, of all that objdump shows"""
    functions = {}
    current, name = None, None
    for line in disassembly.splitlines():
        begin = FUNCTION.match(line)
        if begin:
            name = begin.group(2)
            # What the linkage table has is known by its callers.
            current = None if "@plt" in name else functions.setdefault(bare(name), Function())
            name = bare(name)
            continue
        mnemonic, operands = instruction(line)
        if current is not None and mnemonic:
            note_call(current, name, mnemonic, operands)
    # What the library exports it calls through the linkage table as well.
    for function in functions.values():
        own = {called for called in function.outside if called in functions}
        function.inside |= own
        function.outside -= own
    return functions


def reached(functions, root):
    """Every function that is called from one, itself included: {name: the way to it}."""
    ways, waiting = {root: [root]}, [root]
    while waiting:
        name = waiting.pop()
        for called in sorted(functions[name].inside):
            if called in functions and called not in ways:
                ways[called] = ways[name] + [called]
                waiting.append(called)
    return ways


def check_handler(functions, root, besides, used):
    """\\return the findings of one handler, and how many calls leave the library from it"""
    findings, calls = [], set()
    for name, way in reached(functions, root).items():
        trail = " > ".join(way)
        function = functions[name]
        for called in sorted(function.outside):
            calls.add(called)
            if called not in ALLOWED or (called == "exit" and called not in besides):
                findings.append(f"{trail} > {called}: a signal handler may not call it")
        for called in sorted(function.inside):
            if called not in functions:
                findings.append(f"{trail} > {called}: is nowhere to be followed")
        if function.indirect and (name, len(function.indirect)) not in INDIRECT:
            findings.append(f"{trail}: calls through a pointer ({'; '.join(function.indirect)}); "
                            "name it in INDIRECT with its reason")
        elif function.indirect:
            used.add((name, len(function.indirect)))
    return findings, len(calls)


def check(disassembly):
    """\\return (findings, functions followed, calls that leave the library)"""
    functions = read_functions(disassembly)
    findings, used = [], set()
    followed, leaving = 0, 0
    for prefix, besides in HANDLERS.items():
        # A function may be in parts: its unlikely one is followed from the other.
        roots = [name for name in functions if name.startswith(prefix) and "." not in name]
        if not roots:
            findings.append(f"{prefix}: there is no such handler to follow")
        for root in roots:
            found, calls = check_handler(functions, root, besides, used)
            findings += found
            leaving += calls
            followed += len(reached(functions, root))
    findings += [f"{name}: does not call {count} times through a pointer; take it out of INDIRECT"
                 for name, count in sorted(set(INDIRECT) - used)]
    if followed and not leaving:
        findings.append("no call leaves the library: the disassembly was not understood")
    return findings, followed, leaving


def disassemble(library):
    return subprocess.run(["objdump", "--disassemble", "--no-show-raw-insn", library], check=True,
                          stdout=subprocess.PIPE, text=True).stdout


def readable(text):
    return subprocess.run(["c++filt"], input=text, check=True, stdout=subprocess.PIPE, text=True).stdout


def main(libraries):
    if not libraries:
        print("usage: tools/check_signal_safety.py LIBRARY...")
        return 2
    failed = False
    for library in libraries:
        findings, followed, leaving = check(disassemble(library))
        for finding in findings:
            print(f"{library}: {readable(finding).rstrip()}")
        print(f"check_signal_safety: {library}: {len(HANDLERS)} handlers, {followed} functions, "
              f"{leaving} calls that leave the library")
        failed |= bool(findings)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
